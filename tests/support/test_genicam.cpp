#include "test_genicam.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "device_registers.h"
#include "genicam_xml.h"

namespace orntest {

namespace {

static_assert(kPlainMemory == ornsim::reg::kPlainMemoryBase, "the features live in the sensor's plain memory");

// test_features.xml, read once; a missing file fails every test that needs it.
const std::string& features_file() {
    static const std::string text = [] {
        std::ifstream in(ORNC_TEST_FEATURES_XML);
        std::ostringstream content;
        content << in.rdbuf();
        if (!in || content.str().empty()) {
            throw std::runtime_error("cannot read the tests' GenICam file " + std::string(ORNC_TEST_FEATURES_XML));
        }
        return content.str();
    }();
    return text;
}

// The features alone: what the file holds between its Root category and its Port.
std::string features() {
    const std::string& file = features_file();
    const std::string root_end = "</Category>\n";
    const size_t from = file.find(root_end, file.find("<Category Name=\"Root\"")) + root_end.size();
    return file.substr(from, file.find("  <Port Name=\"Device\"") - from);
}

void replace_all(std::string* text, const std::string& from, const std::string& to) {
    for (size_t at = text->find(from); at != std::string::npos; at = text->find(from, at + to.size())) {
        text->replace(at, from.size(), to);
    }
}

}  // namespace

std::string builtin_xml(const ornsim::SensorConfig& config) {
    ornsim::GenicamIdentity identity;
    identity.vendor = config.vendor;
    identity.model = config.model;
    identity.sensor_width = config.width;
    identity.sensor_height = config.height;
    return ornsim::builtin_genicam_xml(identity);
}

std::string test_features_xml() { return features_file(); }

std::string range_test_xml(const ornsim::SensorConfig& config) {
    std::string xml = builtin_xml(config);
    // List the test categories under Root, then append the features.
    const size_t root = xml.find("<Category Name=\"Root\"");
    xml.insert(xml.find("</Category>", root), "  <pFeature>RangeTests</pFeature><pFeature>Nested</pFeature>\n  ");
    xml.insert(xml.rfind("</RegisterDescription>"), features());
    return xml;
}

std::string rename_feature(std::string xml, const std::string& from, const std::string& to) {
    replace_all(&xml, "Name=\"" + from + "\"", "Name=\"" + to + "\"");
    replace_all(&xml, ">" + from + "<", ">" + to + "<");
    return xml;
}

}  // namespace orntest
