// The sensor's built-in GenICam file (schema 1.1, standard feature names),
// generated from the register map in device_registers.h so the two never
// disagree.
#ifndef ORNSIM_GENICAM_XML_H
#define ORNSIM_GENICAM_XML_H

#include <cstdint>
#include <string>
#include <vector>

namespace ornsim {

struct GenicamIdentity {
    std::string vendor, model;
    uint32_t sensor_width = 640, sensor_height = 480;
};

std::string builtin_genicam_xml(const GenicamIdentity& identity);

// Address and length of the register behind a feature of a GenICam file,
// following pValue links (at most a few levels). False if the feature or its
// register cannot be found.
bool find_feature_register(const std::string& xml, const std::string& feature, uint32_t* address, uint32_t* length);

}  // namespace ornsim

#endif  // ORNSIM_GENICAM_XML_H
