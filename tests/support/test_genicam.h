// The tests' GenICam file: the sensor's built-in description plus the
// category "RangeTests" (listed under Root) of features that live in the
// sensor's plain memory, so that every value written through a feature can
// be read back behind the node map. See the .cpp for the features and
// their registers.
#pragma once

#include <string>

#include "ornsim/virtual_sensor.h"

namespace orntest {

// The sensor's built-in GenICam file for `config`'s identity.
std::string builtin_xml(const ornsim::SensorConfig& config);

// The built-in file plus the test features.
std::string range_test_xml(const ornsim::SensorConfig& config);

// Replaces every whole-name use of `from` ("Name=\"from\"", ">from<") by `to`.
std::string rename_feature(std::string xml, const std::string& from, const std::string& to);

}  // namespace orntest
