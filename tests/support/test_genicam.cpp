#include "test_genicam.h"

#include <cstdio>

#include "device_registers.h"
#include "genicam_xml.h"

namespace orntest {

namespace {

// A node of `tag` named `name` around `body`.
std::string node(const std::string& tag, const std::string& name, const std::string& body) {
    return "  <" + tag + " Name=\"" + name + "\" NameSpace=\"Custom\">\n" + body + "  </" + tag + ">\n";
}

// A register node over `length` bytes at `offset` into plain memory;
// `index` and `tail` go after the address and after the port's elements.
std::string reg(const std::string& tag, const std::string& name, uint32_t offset, int length,
                const std::string& access = "RW", const std::string& tail = "", const std::string& index = "") {
    char address[16];
    std::snprintf(address, sizeof address, "0x%X", ornsim::reg::kPlainMemoryBase + offset);
    return node(tag, name,
                "    <Address>" + std::string(address) + "</Address>\n" + index + "    <Length>" +
                    std::to_string(length) + "</Length>\n    <AccessMode>" + access +
                    "</AccessMode>\n    <pPort>Device</pPort>\n    <Cachable>NoCache</Cachable>\n" + tail);
}

const std::string kBigEndian = "    <Endianess>BigEndian</Endianess>\n";
const std::string kUnsigned = "    <Sign>Unsigned</Sign>\n" + kBigEndian;

// An integer feature over an IntReg of its own in plain memory.
std::string integer_feature(const std::string& name, uint32_t offset, int length, bool is_signed,
                            const std::string& min, const std::string& max, const std::string& inc,
                            const std::string& access = "RW") {
    std::string body = "    <DisplayName>" + name + " Display</DisplayName>\n";
    if (access != "RW") body += "    <ImposedAccessMode>" + access + "</ImposedAccessMode>\n";
    body += "    <pValue>" + name + "Reg</pValue>\n";
    if (!min.empty()) body += "    <Min>" + min + "</Min>\n";
    if (!max.empty()) body += "    <Max>" + max + "</Max>\n";
    if (!inc.empty()) body += "    <Inc>" + inc + "</Inc>\n";
    return node("Integer", name, body) +
           reg("IntReg", name + "Reg", offset, length, access,
               std::string("    <Sign>") + (is_signed ? "Signed" : "Unsigned") + "</Sign>\n" + kBigEndian);
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
//   IntFormula: twice IntStep10, a formula without a declared range
std::string range_test_features() {
    std::string members = "    <DisplayName>Range Tests</DisplayName>\n";
    for (const char* f : {"IntStep10", "IntStep4", "IntUnsigned32", "IntMinusOneToU32", "IntFull64", "IntTo2Pow32",
                          "RawSpan", "IntWriteOnly", "IntReadOnly", "FloatRange", "TextValue", "RawBlock", "FlagValue",
                          "ModeChoice", "PulseCommand", "IndexSelector", "IndexedValue", "IntFormula"}) {
        members += std::string("    <pFeature>") + f + "</pFeature>\n";
    }
    std::string xml = node("Category", "RangeTests", members);
    xml += integer_feature("IntStep10", 0x00, 4, false, "0", "100", "10");
    xml += integer_feature("IntStep4", 0x04, 4, false, "1", "100", "4");
    xml += integer_feature("IntUnsigned32", 0x08, 4, false, "0", "4294967295", "");
    xml += integer_feature("IntMinusOneToU32", 0x10, 8, true, "-1", "4294967295", "");
    xml += integer_feature("IntFull64", 0x18, 8, true, "-9223372036854775808", "9223372036854775807", "");
    xml += integer_feature("IntTo2Pow32", 0x20, 8, true, "0", "4294967296", "");
    xml += reg("Register", "RawSpan", 0x10, 24);
    xml += integer_feature("IntWriteOnly", 0x28, 4, false, "0", "1000", "", "WO");
    xml += integer_feature("IntReadOnly", 0x2C, 4, false, "0", "1000", "", "RO");
    xml += node("Float", "FloatRange", "    <pValue>FloatRangeReg</pValue>\n    <Min>0</Min>\n    <Max>100</Max>\n");
    xml += reg("FloatReg", "FloatRangeReg", 0x30, 8, "RW", kBigEndian);
    xml += reg("StringReg", "TextValue", 0x40, 16);
    xml += reg("Register", "RawBlock", 0x60, 8);
    xml += node("Boolean", "FlagValue",
                "    <pValue>FlagValueReg</pValue>\n    <OnValue>1</OnValue>\n    <OffValue>0</OffValue>\n");
    xml += reg("IntReg", "FlagValueReg", 0x70, 4, "RW", kUnsigned);
    std::string entries;
    for (const auto& entry :
         {std::make_pair("Alpha", 1), std::make_pair("Continuous", 2), std::make_pair("Gamma", 3)}) {
        entries += std::string("    <EnumEntry Name=\"") + entry.first +
                   "\" NameSpace=\"Custom\">\n      <DisplayName>" + entry.first +
                   " Mode</DisplayName>\n      <Value>" + std::to_string(entry.second) + "</Value>\n    </EnumEntry>\n";
    }
    xml += node("Enumeration", "ModeChoice", entries + "    <pValue>ModeChoiceReg</pValue>\n");
    xml += reg("IntReg", "ModeChoiceReg", 0x74, 4, "RW", kUnsigned);
    xml +=
        node("Command", "PulseCommand", "    <pValue>PulseCommandReg</pValue>\n    <CommandValue>1</CommandValue>\n");
    xml += reg("IntReg", "PulseCommandReg", 0x78, 4, "RW", kUnsigned);
    xml += node("Integer", "IndexSelector",
                "    <pValue>IndexSelectorReg</pValue>\n    <Min>0</Min>\n    <Max>7</Max>\n    <Inc>1</Inc>\n"
                "    <pSelected>IndexedValue</pSelected>\n");
    xml += reg("IntReg", "IndexSelectorReg", 0x7C, 4, "RW", kUnsigned);
    xml += node("Integer", "IndexedValue",
                "    <pValue>IndexedValueReg</pValue>\n    <Min>0</Min>\n    <Max>1000000</Max>\n");
    xml +=
        reg("IntReg", "IndexedValueReg", 0x80, 4, "RW", kUnsigned, "    <pIndex Offset=\"4\">IndexSelector</pIndex>\n");
    xml += node("IntSwissKnife", "IntFormula",
                "    <pVariable Name=\"S\">IntStep10</pVariable>\n    <Formula>S*2</Formula>\n");
    return xml;
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

}  // namespace orntest
