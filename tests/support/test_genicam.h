// The tests' one GenICam feature set, for the platform and the camera
// layers alike: every feature lives in the sensor's plain memory
// (kPlainMemory + the offsets below), so that what a node writes can be read
// back behind the node map. The platform tests load the features as a file
// of their own; the camera tests load them inside the sensor's built-in
// file, which connecting needs. The features are in test_features.xml.
#pragma once

#include <cstdint>
#include <string>

#include "ornsim/virtual_sensor.h"

namespace orntest {

// The sensor's built-in GenICam file for `config`'s identity.
std::string builtin_xml(const ornsim::SensorConfig& config);

// The test features as a description file of their own.
std::string test_features_xml();

// The built-in file with the test features added under Root.
std::string range_test_xml(const ornsim::SensorConfig& config);

// Replaces every whole-name use of `from` ("Name=\"from\"", ">from<") by `to`.
std::string rename_feature(std::string xml, const std::string& from, const std::string& to);

constexpr uint32_t kPlainMemory = 0x00100000;

// Offsets into plain memory of the registers behind the test features.
namespace plain {
constexpr uint32_t kSelector = 0x00, kInteger = 0x08, kWide = 0x10, kReadOnly = 0x18, kWriteOnly = 0x20, kFloat = 0x28,
                   kBoolean = 0x38, kString = 0x40, kEnum = 0x50, kCommand = 0x58, kRegister = 0x60, kIp = 0x70,
                   kStruct = 0x78;
}  // namespace plain

}  // namespace orntest
