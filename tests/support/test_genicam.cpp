#include "test_genicam.h"

#include <cstdio>

#include "device_registers.h"
#include "genicam_xml.h"

namespace orntest {

namespace {

static_assert(kPlainMemory == ornsim::reg::kPlainMemoryBase, "the features live in the sensor's plain memory");

// A big-endian IntReg of `length` bytes at `offset` into plain memory;
// `extra` elements go first.
std::string int_reg(const char* name, uint32_t offset, const char* access = "RW", const char* sign = "Unsigned",
                    const char* extra = "", int length = 4) {
    char address[16];
    std::snprintf(address, sizeof address, "0x%08X", kPlainMemory + offset);
    return std::string("  <IntReg Name=\"") + name + "\" NameSpace=\"Custom\">" + extra + "<Address>" + address +
           "</Address>\n    <Length>" + std::to_string(length) + "</Length><AccessMode>" + access +
           "</AccessMode><pPort>Device</pPort><Sign>" + sign + "</Sign><Endianess>BigEndian</Endianess></IntReg>\n";
}
constexpr const char* kNoCache = "<Cachable>NoCache</Cachable>";

// An Integer `name` with `body` over its register `name`Reg at `offset`.
std::string integer(const std::string& name, uint32_t offset, const std::string& body, const char* access = "RW",
                    const char* sign = "Unsigned", const char* extra = "", int length = 4) {
    return "  <Integer Name=\"" + name + "\" NameSpace=\"Custom\"><pValue>" + name + "Reg</pValue>" + body +
           "</Integer>\n" + int_reg((name + "Reg").c_str(), offset, access, sign, extra, length);
}

// The features, in document order. Categories: RangeTests (every feature
// but TestWide and the grouped TestInnerValue) and Nested\Inner. Node-map
// features Test* take 0x00..0x7F; the notification chain (Source -> Doubled
// -> Quadrupled, Source invalidates Cached and bounds Bounded, Selector
// indexes and selects Indexed, Unrelated) 0x80..0xA3; the range features
// 0xA4..0xBF (RawSpan: the three 8-byte integers as one 24-byte register).
std::string features() {
    using namespace plain;
    return std::string(R"XML(
  <Category Name="RangeTests" NameSpace="Custom">
    <DisplayName>Range Tests</DisplayName>
    <pFeature>TestSelector</pFeature><pFeature>TestInteger</pFeature><pFeature>TestEnum</pFeature>
    <pFeature>TestFloat</pFeature><pFeature>TestReadOnly</pFeature><pFeature>TestWriteOnly</pFeature>
    <pFeature>TestBoolean</pFeature><pFeature>TestString</pFeature><pFeature>TestCommand</pFeature>
    <pFeature>TestRegister</pFeature><pFeature>TestIp</pFeature><pFeature>Selector</pFeature>
    <pFeature>Indexed</pFeature><pFeature>Doubled</pFeature><pFeature>IntStep4</pFeature>
    <pFeature>IntMinusOneToU32</pFeature><pFeature>IntFull64</pFeature><pFeature>IntTo2Pow32</pFeature>
    <pFeature>RawSpan</pFeature>
  </Category>
  <Category Name="Nested" NameSpace="Custom"><pFeature>Inner</pFeature></Category>
  <Category Name="Inner" NameSpace="Custom"><pFeature>TestInnerValue</pFeature></Category>
  <Integer Name="TestSelector" NameSpace="Custom"><Visibility>Expert</Visibility><pValue>TestSelectorReg</pValue>
    <Min>0</Min><Max>7</Max><Inc>1</Inc><pSelected>TestSelectedB</pSelected><pSelected>TestSelectedA</pSelected>
  </Integer>
)XML") + int_reg("TestSelectorReg", kSelector, "RW", "Unsigned", "<Visibility>Invisible</Visibility>") +
           R"XML(
  <Integer Name="TestSelectedA" NameSpace="Custom"><Value>1</Value></Integer>
  <Integer Name="TestSelectedB" NameSpace="Custom"><Value>2</Value></Integer>
  <Integer Name="TestInteger" NameSpace="Custom"><DisplayName>Test Integer</DisplayName>
    <Description>An integer with a step</Description><ToolTip>Steps of ten</ToolTip><pValue>TestIntegerReg</pValue>
    <Min>0</Min><Max>100</Max><Inc>10</Inc></Integer>
)XML" + int_reg("TestIntegerReg", kInteger, "RW", "Signed") +
           int_reg("TestWide", kWide) + int_reg("TestReadOnly", kReadOnly, "RO", "Unsigned", kNoCache) +
           int_reg("TestWriteOnly", kWriteOnly, "WO") + R"XML(
  <Float Name="TestFloat" NameSpace="Custom"><pValue>TestFloatReg</pValue><Min>0</Min><Max>100</Max><Inc>0.5</Inc><Unit>mm</Unit>
  </Float>
  <FloatReg Name="TestFloatReg" NameSpace="Custom"><Visibility>Guru</Visibility><Address>0x00100028</Address>
    <Length>8</Length><AccessMode>RW</AccessMode><pPort>Device</pPort><Endianess>BigEndian</Endianess></FloatReg>
  <Boolean Name="TestBoolean" NameSpace="Custom"><pValue>TestBooleanReg</pValue>
    <OnValue>1</OnValue><OffValue>0</OffValue></Boolean>
)XML" + int_reg("TestBooleanReg", kBoolean) +
           R"XML(
  <StringReg Name="TestString" NameSpace="Custom"><Address>0x00100040</Address><Length>16</Length>
    <AccessMode>RW</AccessMode><pPort>Device</pPort></StringReg>
  <Enumeration Name="TestEnum" NameSpace="Custom">
    <EnumEntry Name="Zebra" NameSpace="Custom"><Value>5</Value></EnumEntry>
    <EnumEntry Name="Alpha" NameSpace="Custom"><DisplayName>First Letter</DisplayName><Value>1</Value></EnumEntry>
    <EnumEntry Name="Mid" NameSpace="Custom"><pIsAvailable>TestBoolean</pIsAvailable><Value>3</Value></EnumEntry>
    <pValue>TestEnumReg</pValue>
  </Enumeration>
)XML" + int_reg("TestEnumReg", kEnum) +
           R"XML(
  <Command Name="TestCommand" NameSpace="Custom"><pValue>TestCommandReg</pValue><CommandValue>1</CommandValue></Command>
)XML" + int_reg("TestCommandReg", kCommand) +
           R"XML(
  <Register Name="TestRegister" NameSpace="Custom"><Visibility>Guru</Visibility><Address>0x00100060</Address>
    <Length>8</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></Register>
  <Integer Name="TestLocked" NameSpace="Custom"><pIsLocked>TestBoolean</pIsLocked><pValue>TestWide</pValue></Integer>
  <Integer Name="TestUnavailable" NameSpace="Custom"><pIsAvailable>TestBoolean</pIsAvailable><pValue>TestWide</pValue>
  </Integer>
)XML" + integer("TestIp", kIp, "<Representation>IPV4Address</Representation>") +
           R"XML(
  <StructReg Comment="two bytes of one register">
    <Address>0x00100078</Address><Length>4</Length><pPort>Device</pPort><Endianess>BigEndian</Endianess>
    <StructEntry Name="TestStructLow" NameSpace="Custom"><AccessMode>RW</AccessMode><LSB>31</LSB><MSB>24</MSB>
    </StructEntry>
    <StructEntry Name="TestStructHigh" NameSpace="Custom"><AccessMode>RW</AccessMode><LSB>23</LSB><MSB>16</MSB>
    </StructEntry>
  </StructReg>
  <Group Comment="grouped"><Integer Name="TestInnerValue" NameSpace="Custom"><Visibility>Invisible</Visibility>
    <Value>9</Value></Integer></Group>
)XML" + integer("Source", 0x80, "<Min>0</Min><Max>1000</Max>") +
           R"XML(
  <IntSwissKnife Name="Doubled" NameSpace="Custom"><pVariable Name="S">Source</pVariable><Formula>S*2</Formula></IntSwissKnife>
  <IntSwissKnife Name="Quadrupled" NameSpace="Custom"><pVariable Name="D">Doubled</pVariable><Formula>D*2</Formula></IntSwissKnife>
)XML" + integer("Cached", 0x84, "", "RO", "Unsigned", "<pInvalidator>Source</pInvalidator>") +
           integer("Bounded", 0x88, "<Min>0</Min><pMax>Source</pMax>") +
           integer("Selector", 0x8C, "<Min>0</Min><Max>3</Max><pSelected>Indexed</pSelected>") + R"XML(
  <Integer Name="Indexed" NameSpace="Custom"><pValue>IndexedReg</pValue></Integer>
  <IntReg Name="IndexedReg" NameSpace="Custom"><Address>0x00100090</Address><pIndex Offset="4">SelectorReg</pIndex>
    <Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
)XML" + integer("Unrelated", 0xA0, "") +
           integer("IntStep4", 0xA4, "<Min>1</Min><Max>100</Max><Inc>4</Inc>") +
           integer("IntMinusOneToU32", 0xA8, "<Min>-1</Min><Max>4294967295</Max>", "RW", "Signed", kNoCache, 8) +
           int_reg("IntFull64", 0xB0, "RW", "Signed", kNoCache, 8) +
           integer("IntTo2Pow32", 0xB8, "<Min>0</Min><Max>4294967296</Max>", "RW", "Signed", kNoCache, 8) + R"XML(
  <Register Name="RawSpan" NameSpace="Custom"><Address>0x001000A8</Address><Length>24</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort></Register>
)XML";
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

std::string test_features_xml() {
    return R"XML(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="PlatformTest" VendorName="ORNC" StandardNameSpace="None" SchemaMajorVersion="1"
    SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ToolTip="Features for the tests" ProductGuid="11111111-2222-3333-4444-555555555555"
    VersionGuid="11111111-2222-3333-4444-555555555556" xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root" NameSpace="Standard"><pFeature>RangeTests</pFeature><pFeature>Nested</pFeature></Category>)XML" +
           features() + "  <Port Name=\"Device\" NameSpace=\"Standard\"/>\n</RegisterDescription>\n";
}

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
