// Virtual sensors started for one test and stopped at its end.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ornsim/virtual_sensor.h"

namespace orntest {

class SensorFleet {
public:
    // Starts a sensor; false (with `error`) when it cannot bind.
    bool add(const ornsim::SensorConfig& config, std::string* error) {
        auto sensor = std::make_unique<ornsim::VirtualSensor>(config);
        if (!sensor->start(error)) return false;
        sensors_.push_back(std::move(sensor));
        return true;
    }
    ornsim::VirtualSensor& operator[](size_t i) { return *sensors_[i]; }
    size_t size() const { return sensors_.size(); }

private:
    std::vector<std::unique_ptr<ornsim::VirtualSensor>> sensors_;
};

inline ornsim::SensorConfig sensor_config(const std::string& address, const std::string& serial,
                                          const std::string& model, const std::string& mac) {
    ornsim::SensorConfig config;
    config.address = address;
    config.serial = serial;
    config.model = model;
    config.mac = mac;
    return config;
}

}  // namespace orntest
