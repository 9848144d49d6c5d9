// Virtual sensors started for one test and stopped at its end.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ornsim/virtual_sensor.h"
#include "raw_controller.h"

namespace orntest {

class SensorFleet {
public:
    // Starts a sensor; "" when it runs, else why it could not bind.
    std::string add(const std::string& address, const std::string& serial, const std::string& model,
                    const std::string& mac) {
        ornsim::SensorConfig config;
        config.address = address;
        config.serial = serial;
        config.model = model;
        config.mac = mac;
        auto sensor = std::make_unique<ornsim::VirtualSensor>(config);
        std::string error;
        if (!sensor->start(&error)) return error.empty() ? "the sensor did not start" : error;
        sensors_.push_back(std::move(sensor));
        return "";
    }
    ornsim::VirtualSensor& operator[](size_t i) { return *sensors_[i]; }

private:
    std::vector<std::unique_ptr<ornsim::VirtualSensor>> sensors_;
};

}  // namespace orntest
