#include "sensor.h"

#include "gvcp_client.h"
#include "private_network.h"

namespace orntest {

ornsim::SensorConfig sensor_config(Block block, int host, const std::string& serial, uint32_t width, uint32_t height,
                                   double fps) {
    ornsim::SensorConfig config;
    config.address = loopback(block, host);
    config.mac = loopback_mac(block, host);
    config.serial = serial;
    config.width = width;
    config.height = height;
    config.fps = fps;
    return config;
}

bool answers(const std::string& address, std::chrono::milliseconds timeout) {
    GvcpClient client(ipv4(address), "0.0.0.0");
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        if (client.transact(gvcp::DISCOVERY_CMD, {}, gvcp::kFlagAckRequired, 100).received) return true;
    }
    return false;
}

SensorScope::SensorScope(ornsim::SensorConfig config, bool limit_discovery)
    : config_(std::move(config)), sensor_(std::make_unique<ornsim::VirtualSensor>(config_)) {
    ok_ = sensor_->start(&error_);
    if (!ok_ && error_.empty()) error_ = "the sensor at " + config_.address + " did not start";
    if (limit_discovery) hosts_ = std::make_unique<ScopedEnv>("ORNC_LOOPBACK_HOSTS", config_.address.c_str());
}

SensorScope::~SensorScope() { sensor_->stop(); }

void SensorTest::start(const ornsim::SensorConfig& config, const std::string& xml) {
    config_ = config;
    if (!xml.empty()) {
        config_.genicam_file = workdir_.file(config_.serial + ".xml");
        ASSERT_TRUE(write_file(config_.genicam_file, xml));
    }
    sensor_ = std::make_unique<SensorScope>(config_);
    ASSERT_TRUE(sensor_->ok()) << sensor_->error();
}

std::string SensorFleet::add(const ornsim::SensorConfig& config) {
    sensors_.push_back(std::make_unique<SensorScope>(config, false));
    return sensors_.back()->ok() ? "" : sensors_.back()->error();
}

SensorProcess::SensorProcess(const std::string& binary, const ornsim::SensorConfig& config,
                             const std::vector<std::string>& extra, const std::vector<std::string>& launcher) {
    std::vector<std::string> argv(launcher);
    argv.push_back(binary);
    for (const auto& [option, value] : {std::pair<const char*, std::string>{"--address", config.address},
                                        {"--serial", config.serial},
                                        {"--mac", config.mac},
                                        {"--width", std::to_string(config.width)},
                                        {"--height", std::to_string(config.height)},
                                        {"--fps", std::to_string(config.fps)}})
        argv.insert(argv.end(), {option, value});
    if (!config.genicam_file.empty()) argv.insert(argv.end(), {"--genicam", config.genicam_file});
    argv.insert(argv.end(), extra.begin(), extra.end());
    pid_ = spawn(argv);
    ok_ = pid_ > 0 && answers(config.address, std::chrono::seconds(5));
}

SensorProcess::~SensorProcess() { end_child(pid_); }

}  // namespace orntest
