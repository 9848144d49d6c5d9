#include "camera_test_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "device_registers.h"
#include "genicam_xml.h"

namespace camtest {

namespace {

std::string hex(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", value);
    return text;
}

std::string reg_address(uint32_t offset) { return hex(ornsim::reg::kPlainMemoryBase + offset); }

// An integer feature over an IntReg of its own in plain memory.
std::string integer_feature(const std::string& name, uint32_t offset, int length, bool is_signed,
                            const std::string& min, const std::string& max, const std::string& inc,
                            const std::string& access = "RW") {
    std::string xml = "  <Integer Name=\"" + name + "\" NameSpace=\"Custom\">\n";
    xml += "    <DisplayName>" + name + " Display</DisplayName>\n";
    if (access != "RW") xml += "    <ImposedAccessMode>" + access + "</ImposedAccessMode>\n";
    xml += "    <pValue>" + name + "Reg</pValue>\n";
    if (!min.empty()) xml += "    <Min>" + min + "</Min>\n";
    if (!max.empty()) xml += "    <Max>" + max + "</Max>\n";
    if (!inc.empty()) xml += "    <Inc>" + inc + "</Inc>\n";
    xml += "  </Integer>\n";
    xml += "  <IntReg Name=\"" + name + "Reg\" NameSpace=\"Custom\">\n";
    xml += "    <Address>" + reg_address(offset) + "</Address>\n    <Length>" + std::to_string(length) + "</Length>\n";
    xml += "    <AccessMode>" + access + "</AccessMode>\n    <pPort>Device</pPort>\n    <Cachable>NoCache</Cachable>\n";
    xml += std::string("    <Sign>") + (is_signed ? "Signed" : "Unsigned") + "</Sign>\n";
    xml += "    <Endianess>BigEndian</Endianess>\n  </IntReg>\n";
    return xml;
}

std::string register_feature(const std::string& name, uint32_t offset, int length) {
    return "  <Register Name=\"" + name + "\" NameSpace=\"Custom\">\n    <Address>" + reg_address(offset) +
           "</Address>\n    <Length>" + std::to_string(length) +
           "</Length>\n    <AccessMode>RW</AccessMode>\n    <pPort>Device</pPort>\n"
           "    <Cachable>NoCache</Cachable>\n  </Register>\n";
}

std::string plain_int_reg(const std::string& name, uint32_t offset, const std::string& access,
                          const std::string& index = "") {
    std::string xml =
        "  <IntReg Name=\"" + name + "\" NameSpace=\"Custom\">\n    <Address>" + reg_address(offset) + "</Address>\n";
    if (!index.empty()) xml += "    <pIndex Offset=\"4\">" + index + "</pIndex>\n";
    xml += "    <Length>4</Length>\n    <AccessMode>" + access +
           "</AccessMode>\n    <pPort>Device</pPort>\n    <Cachable>NoCache</Cachable>\n"
           "    <Sign>Unsigned</Sign>\n    <Endianess>BigEndian</Endianess>\n  </IntReg>\n";
    return xml;
}

// The features of the range tests. Offsets into plain memory:
//   0x00 IntStep10 (0..100 step 10)      0x04 IntStep4 (1..100 step 4)
//   0x08 IntUnsigned32 (0..2^32-1)       0x10 IntMinusOneToU32 (-1..2^32-1, 8 bytes)
//   0x18 IntFull64 (whole int64 range)   0x20 IntTo2Pow32 (0..2^32, 8 bytes)
//   0x10..0x27 RawSpan: the three 8-byte integers as one 24-byte register
//   0x28 IntWriteOnly   0x2C IntReadOnly   0x30 FloatRange (0..100, f64)
//   0x40 TextValue (16 bytes)   0x60 RawBlock (8 bytes)   0x70 FlagValue
//   0x74 ModeChoice (Alpha 1, Continuous 2, Gamma 3)   0x78 PulseCommand
//   0x7C IndexSelector (0..7)   0x80 + 4 * index: IndexedValue
std::string range_test_features() {
    std::string xml;
    xml += "  <Category Name=\"RangeTests\" NameSpace=\"Custom\">\n";
    xml += "    <DisplayName>Range Tests</DisplayName>\n";
    for (const char* f : {"IntStep10", "IntStep4", "IntUnsigned32", "IntMinusOneToU32", "IntFull64", "IntTo2Pow32",
                          "RawSpan", "IntWriteOnly", "IntReadOnly", "FloatRange", "TextValue", "RawBlock", "FlagValue",
                          "ModeChoice", "PulseCommand", "IndexSelector", "IndexedValue"}) {
        xml += std::string("    <pFeature>") + f + "</pFeature>\n";
    }
    xml += "  </Category>\n";
    xml += integer_feature("IntStep10", 0x00, 4, false, "0", "100", "10");
    xml += integer_feature("IntStep4", 0x04, 4, false, "1", "100", "4");
    xml += integer_feature("IntUnsigned32", 0x08, 4, false, "0", "4294967295", "");
    xml += integer_feature("IntMinusOneToU32", 0x10, 8, true, "-1", "4294967295", "");
    xml += integer_feature("IntFull64", 0x18, 8, true, "-9223372036854775808", "9223372036854775807", "");
    xml += integer_feature("IntTo2Pow32", 0x20, 8, true, "0", "4294967296", "");
    xml += register_feature("RawSpan", 0x10, 24);
    xml += integer_feature("IntWriteOnly", 0x28, 4, false, "0", "1000", "", "WO");
    xml += integer_feature("IntReadOnly", 0x2C, 4, false, "0", "1000", "", "RO");
    xml +=
        "  <Float Name=\"FloatRange\" NameSpace=\"Custom\">\n    <pValue>FloatRangeReg</pValue>\n"
        "    <Min>0</Min>\n    <Max>100</Max>\n  </Float>\n";
    xml += "  <FloatReg Name=\"FloatRangeReg\" NameSpace=\"Custom\">\n    <Address>" + reg_address(0x30) +
           "</Address>\n    <Length>8</Length>\n    <AccessMode>RW</AccessMode>\n    <pPort>Device</pPort>\n"
           "    <Cachable>NoCache</Cachable>\n    <Endianess>BigEndian</Endianess>\n  </FloatReg>\n";
    xml += "  <StringReg Name=\"TextValue\" NameSpace=\"Custom\">\n    <Address>" + reg_address(0x40) +
           "</Address>\n    <Length>16</Length>\n    <AccessMode>RW</AccessMode>\n    <pPort>Device</pPort>\n"
           "    <Cachable>NoCache</Cachable>\n  </StringReg>\n";
    xml += register_feature("RawBlock", 0x60, 8);
    xml +=
        "  <Boolean Name=\"FlagValue\" NameSpace=\"Custom\">\n    <pValue>FlagValueReg</pValue>\n"
        "    <OnValue>1</OnValue>\n    <OffValue>0</OffValue>\n  </Boolean>\n";
    xml += plain_int_reg("FlagValueReg", 0x70, "RW");
    xml += "  <Enumeration Name=\"ModeChoice\" NameSpace=\"Custom\">\n";
    for (const auto& entry :
         {std::make_pair("Alpha", 1), std::make_pair("Continuous", 2), std::make_pair("Gamma", 3)}) {
        xml += std::string("    <EnumEntry Name=\"") + entry.first + "\" NameSpace=\"Custom\">\n      <DisplayName>" +
               entry.first + " Mode</DisplayName>\n      <Value>" + std::to_string(entry.second) +
               "</Value>\n    </EnumEntry>\n";
    }
    xml += "    <pValue>ModeChoiceReg</pValue>\n  </Enumeration>\n";
    xml += plain_int_reg("ModeChoiceReg", 0x74, "RW");
    xml +=
        "  <Command Name=\"PulseCommand\" NameSpace=\"Custom\">\n    <pValue>PulseCommandReg</pValue>\n"
        "    <CommandValue>1</CommandValue>\n  </Command>\n";
    xml += plain_int_reg("PulseCommandReg", 0x78, "WO");
    xml +=
        "  <Integer Name=\"IndexSelector\" NameSpace=\"Custom\">\n    <pValue>IndexSelectorReg</pValue>\n"
        "    <Min>0</Min>\n    <Max>7</Max>\n    <Inc>1</Inc>\n    <pSelected>IndexedValue</pSelected>\n"
        "  </Integer>\n";
    xml += plain_int_reg("IndexSelectorReg", 0x7C, "RW");
    xml +=
        "  <Integer Name=\"IndexedValue\" NameSpace=\"Custom\">\n    <pValue>IndexedValueReg</pValue>\n"
        "    <Min>0</Min>\n    <Max>1000000</Max>\n  </Integer>\n";
    xml += plain_int_reg("IndexedValueReg", 0x80, "RW", "IndexSelector");
    return xml;
}

void replace_all(std::string* text, const std::string& from, const std::string& to) {
    for (size_t at = text->find(from); at != std::string::npos; at = text->find(from, at + to.size())) {
        text->replace(at, from.size(), to);
    }
}

}  // namespace

std::string test_address(int host) { return "127.52." + std::to_string(::getpid() % 250) + "." + std::to_string(host); }

std::string builtin_xml(const ornsim::SensorConfig& config) {
    ornsim::GenicamIdentity identity;
    identity.vendor = config.vendor;
    identity.model = config.model;
    identity.sensor_width = config.width;
    identity.sensor_height = config.height;
    return ornsim::builtin_genicam_xml(identity);
}

std::string range_test_xml(const ornsim::SensorConfig& config) {
    std::string xml = builtin_xml(config);
    // List the new category under Root, then append its features.
    const size_t root = xml.find("<Category Name=\"Root\"");
    const size_t root_end = xml.find("</Category>", root);
    xml.insert(root_end, "  <pFeature>RangeTests</pFeature>\n  ");
    xml.insert(xml.rfind("</RegisterDescription>"), range_test_features());
    return xml;
}

std::string rename_feature(std::string xml, const std::string& from, const std::string& to) {
    replace_all(&xml, "Name=\"" + from + "\"", "Name=\"" + to + "\"");
    replace_all(&xml, ">" + from + "<", ">" + to + "<");
    return xml;
}

void write_file(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

ornsim::SensorConfig sensor_config(int host, const std::string& serial) {
    ornsim::SensorConfig config;
    config.address = test_address(host);
    config.serial = serial;
    char mac[32];
    std::snprintf(mac, sizeof mac, "02:52:00:00:%02x:%02x", static_cast<unsigned>(::getpid() % 250),
                  static_cast<unsigned>(host));
    config.mac = mac;
    return config;
}

SensorScope::SensorScope(ornsim::SensorConfig config)
    : config_(std::move(config)), sensor_(std::make_unique<ornsim::VirtualSensor>(config_)) {
    ok_ = sensor_->start(&error_);
    hosts_ = std::make_unique<orntest::ScopedEnv>("ORNC_LOOPBACK_HOSTS", config_.address.c_str());
}

SensorScope::~SensorScope() { sensor_->stop(); }

std::string param_name(const ornc_param_t* param) {
    char text[256];
    return ORNCParamGetName(param, text, sizeof text) > 0 ? text : "";
}

std::string category_name(const ornc_category_t* category) {
    char text[256];
    return ORNCCategoryGetName(category, text, sizeof text) > 0 ? text : "";
}

std::string value_text(const ornc_param_t* param) {
    char text[256];
    const ornc_status_t status = ORNCParamGetValue(param, text, sizeof text);
    return status == ORNC_OK ? std::string(text) : "<status " + std::to_string(status) + ">";
}

ornc_param_t* device_param(const ornc_t* ornc, const char* name) {
    ornc_param_t* param = ORNCParamsGetParamByName(ORNCGetDeviceParams(ornc), name);
    EXPECT_NE(param, nullptr) << "no parameter " << name;
    return param;
}

}  // namespace camtest
