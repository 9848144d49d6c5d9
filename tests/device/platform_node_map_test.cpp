// The device node map through the platform classes, on the virtual sensor
// with a description file of the test's own whose features live in the
// sensor's plain memory: each check is a real node on a real device, and
// values are verified by reading the device's memory behind the node map.
#include <arv.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ornsim/virtual_sensor.h"
#include "platform/PvDevice.h"
#include "platform/PvGenBoolean.h"
#include "platform/PvGenCommand.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenEventSink.h"
#include "platform/PvGenFloat.h"
#include "platform/PvGenInteger.h"
#include "platform/PvGenParameterArray.h"
#include "platform/PvGenRegister.h"
#include "platform/PvGenString.h"
#include "platform_test_support.h"

namespace {

constexpr const char* kSensorAddress = "127.0.46.1";
constexpr uint32_t kBase = 0x00100000;  // the sensor's plain memory

// Register addresses of the features below (offsets into plain memory).
constexpr uint32_t kSelectorAddress = kBase + 0x00;
constexpr uint32_t kIntegerAddress = kBase + 0x08;
constexpr uint32_t kWideAddress = kBase + 0x10;
constexpr uint32_t kReadOnlyAddress = kBase + 0x18;
constexpr uint32_t kFloatAddress = kBase + 0x28;
constexpr uint32_t kBooleanAddress = kBase + 0x38;
constexpr uint32_t kStringAddress = kBase + 0x40;
constexpr uint32_t kEnumAddress = kBase + 0x50;
constexpr uint32_t kCommandAddress = kBase + 0x58;
constexpr uint32_t kRegisterAddress = kBase + 0x60;
constexpr uint32_t kIpAddress = kBase + 0x70;
constexpr uint32_t kStructAddress = kBase + 0x78;

constexpr const char kTestXml[] = R"XML(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="PlatformTest" VendorName="ORNC" StandardNameSpace="None" SchemaMajorVersion="1"
    SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ToolTip="Features for the platform tests" ProductGuid="11111111-2222-3333-4444-555555555555"
    VersionGuid="11111111-2222-3333-4444-555555555556" xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root" NameSpace="Standard">
    <pFeature>TestControl</pFeature>
    <pFeature>Nested</pFeature>
  </Category>
  <Category Name="TestControl" NameSpace="Custom">
    <DisplayName>Test Control</DisplayName>
    <pFeature>TestSelector</pFeature>
    <pFeature>TestInteger</pFeature>
    <pFeature>TestEnum</pFeature>
    <pFeature>TestFloat</pFeature>
  </Category>
  <Category Name="Nested" NameSpace="Custom">
    <pFeature>Inner</pFeature>
  </Category>
  <Category Name="Inner" NameSpace="Custom">
    <pFeature>TestInnerValue</pFeature>
  </Category>
  <Integer Name="TestSelector" NameSpace="Custom">
    <Visibility>Expert</Visibility>
    <pValue>TestSelectorReg</pValue>
    <Min>0</Min><Max>7</Max><Inc>1</Inc>
    <pSelected>TestSelectedB</pSelected>
    <pSelected>TestSelectedA</pSelected>
  </Integer>
  <IntReg Name="TestSelectorReg" NameSpace="Custom">
    <Visibility>Invisible</Visibility>
    <Address>0x00100000</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>
  </IntReg>
  <Integer Name="TestSelectedA" NameSpace="Custom"><Value>1</Value></Integer>
  <Integer Name="TestSelectedB" NameSpace="Custom"><Value>2</Value></Integer>
  <Integer Name="TestInteger" NameSpace="Custom">
    <DisplayName>Test Integer</DisplayName>
    <Description>An integer with a step</Description>
    <ToolTip>Steps of ten</ToolTip>
    <pValue>TestIntegerReg</pValue>
    <Min>0</Min><Max>100</Max><Inc>10</Inc>
  </Integer>
  <IntReg Name="TestIntegerReg" NameSpace="Custom">
    <Address>0x00100008</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Sign>Signed</Sign><Endianess>BigEndian</Endianess>
  </IntReg>
  <IntReg Name="TestWide" NameSpace="Custom">
    <Address>0x00100010</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>
  </IntReg>
  <IntReg Name="TestReadOnly" NameSpace="Custom">
    <Address>0x00100018</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>
    <Cachable>NoCache</Cachable>
    <Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>
  </IntReg>
  <IntReg Name="TestWriteOnly" NameSpace="Custom">
    <Address>0x00100020</Address><Length>4</Length><AccessMode>WO</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>
  </IntReg>
  <Float Name="TestFloat" NameSpace="Custom">
    <pValue>TestFloatReg</pValue>
    <Min>0</Min><Max>100</Max><Inc>0.5</Inc>
  </Float>
  <FloatReg Name="TestFloatReg" NameSpace="Custom">
    <Visibility>Guru</Visibility>
    <Address>0x00100028</Address><Length>8</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Endianess>BigEndian</Endianess>
  </FloatReg>
  <Boolean Name="TestBoolean" NameSpace="Custom">
    <pValue>TestBooleanReg</pValue>
    <OnValue>1</OnValue><OffValue>0</OffValue>
  </Boolean>
  <IntReg Name="TestBooleanReg" NameSpace="Custom">
    <Address>0x00100038</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>
  </IntReg>
  <StringReg Name="TestString" NameSpace="Custom">
    <Address>0x00100040</Address><Length>16</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
  </StringReg>
  <Enumeration Name="TestEnum" NameSpace="Custom">
    <EnumEntry Name="Zebra" NameSpace="Custom"><Value>5</Value></EnumEntry>
    <EnumEntry Name="Alpha" NameSpace="Custom"><DisplayName>First Letter</DisplayName><Value>1</Value></EnumEntry>
    <EnumEntry Name="Mid" NameSpace="Custom"><pIsAvailable>TestBoolean</pIsAvailable><Value>3</Value></EnumEntry>
    <pValue>TestEnumReg</pValue>
  </Enumeration>
  <IntReg Name="TestEnumReg" NameSpace="Custom">
    <Address>0x00100050</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>
  </IntReg>
  <Command Name="TestCommand" NameSpace="Custom">
    <pValue>TestCommandReg</pValue>
    <CommandValue>1</CommandValue>
  </Command>
  <IntReg Name="TestCommandReg" NameSpace="Custom">
    <Address>0x00100058</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>
  </IntReg>
  <Register Name="TestRegister" NameSpace="Custom">
    <Visibility>Guru</Visibility>
    <Address>0x00100060</Address><Length>8</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
  </Register>
  <Integer Name="TestLocked" NameSpace="Custom">
    <pIsLocked>TestBoolean</pIsLocked>
    <pValue>TestWide</pValue>
  </Integer>
  <Integer Name="TestUnavailable" NameSpace="Custom">
    <pIsAvailable>TestBoolean</pIsAvailable>
    <pValue>TestWide</pValue>
  </Integer>
  <Integer Name="TestIp" NameSpace="Custom">
    <pValue>TestIpReg</pValue>
    <Representation>IPV4Address</Representation>
  </Integer>
  <IntReg Name="TestIpReg" NameSpace="Custom">
    <Address>0x00100070</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>
  </IntReg>
  <StructReg Comment="two bytes of one register">
    <Address>0x00100078</Address><Length>4</Length><pPort>Device</pPort><Endianess>BigEndian</Endianess>
    <StructEntry Name="TestStructLow" NameSpace="Custom"><AccessMode>RW</AccessMode><LSB>31</LSB><MSB>24</MSB></StructEntry>
    <StructEntry Name="TestStructHigh" NameSpace="Custom"><AccessMode>RW</AccessMode><LSB>23</LSB><MSB>16</MSB></StructEntry>
  </StructReg>
  <Group Comment="grouped">
    <Integer Name="TestInnerValue" NameSpace="Custom">
      <Visibility>Invisible</Visibility>
      <Value>9</Value>
    </Integer>
  </Group>
  <Port Name="Device" NameSpace="Standard"/>
</RegisterDescription>
)XML";

// Features in the order of the file above: categories and ports are not
// parameters, StructEntry and grouped features stand where they are.
const std::vector<std::string> kDocumentOrder = {
    "TestSelector",  "TestSelectorReg", "TestSelectedA", "TestSelectedB",  "TestInteger",  "TestIntegerReg",
    "TestWide",      "TestReadOnly",    "TestWriteOnly", "TestFloat",      "TestFloatReg", "TestBoolean",
    "TestBooleanReg", "TestString",     "TestEnum",      "TestEnumReg",    "TestCommand",  "TestCommandReg",
    "TestRegister",  "TestLocked",      "TestUnavailable", "TestIp",       "TestIpReg",    "TestStructLow",
    "TestStructHigh", "TestInnerValue"};

class PlatformNodeMap : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        xml_file_ = new platform_test::TempFile("node_map.xml");
        ASSERT_TRUE(xml_file_->write(kTestXml));
        ornsim::SensorConfig config;
        config.address = kSensorAddress;
        config.genicam_file = xml_file_->path();
        sensor_ = new ornsim::VirtualSensor(config);
        std::string error;
        ASSERT_TRUE(sensor_->start(&error)) << error;
        PvResult result;
        device_ = PvDevice::CreateAndConnect(PvString(kSensorAddress), &result);
        ASSERT_NE(device_, nullptr) << result.GetDescription().GetAscii();
    }
    static void TearDownTestSuite() {
        PvDevice::Free(device_);
        device_ = nullptr;
        delete sensor_;
        sensor_ = nullptr;
        delete xml_file_;
        xml_file_ = nullptr;
    }
    void SetUp() override {
        ASSERT_NE(device_, nullptr);
        params_ = device_->GetParameters();
        ASSERT_NE(params_, nullptr);
        // Every case starts from zeroed plain memory.
        std::vector<unsigned char> zeros(0x100, 0);
        ASSERT_TRUE(arv_device_write_memory(device_->GetArvDevice(), kBase, static_cast<guint32>(zeros.size()),
                                            zeros.data(), nullptr));
    }

    template <typename T>
    T* node(const char* name) {
        T* typed = dynamic_cast<T*>(params_->Get(name));
        EXPECT_NE(typed, nullptr) << name;
        return typed;
    }

    // The device's memory, read around the node map.
    static uint32_t device_register(uint32_t address) {
        guint32 value = 0;
        EXPECT_TRUE(arv_device_read_register(device_->GetArvDevice(), address, &value, nullptr));
        return value;
    }
    static void set_device_register(uint32_t address, uint32_t value) {
        EXPECT_TRUE(arv_device_write_register(device_->GetArvDevice(), address, value, nullptr));
    }
    static std::string device_memory(uint32_t address, uint32_t size) {
        std::string bytes(size, '\0');
        EXPECT_TRUE(arv_device_read_memory(device_->GetArvDevice(), address, size, &bytes[0], nullptr));
        return bytes;
    }

    static platform_test::TempFile* xml_file_;
    static ornsim::VirtualSensor* sensor_;
    static PvDevice* device_;
    PvGenParameterArray* params_ = nullptr;
};

platform_test::TempFile* PlatformNodeMap::xml_file_ = nullptr;
ornsim::VirtualSensor* PlatformNodeMap::sensor_ = nullptr;
PvDevice* PlatformNodeMap::device_ = nullptr;

TEST_F(PlatformNodeMap, WalksTheFeaturesInDocumentOrderWithoutAravisNodes) {
    std::vector<std::string> names;
    for (uint32_t i = 0; i < params_->GetCount(); ++i) {
        names.push_back(params_->Get(i)->GetName().str());
    }
    EXPECT_EQ(names, kDocumentOrder);
    EXPECT_EQ(params_->Get(params_->GetCount()), nullptr);
    EXPECT_EQ(params_->Get("NoSuchFeature"), nullptr);
    EXPECT_EQ(params_->Get("ArvGevSCPSPacketSize"), nullptr);
    EXPECT_EQ(params_->Get("Device"), nullptr) << "a port is not a parameter";
    EXPECT_EQ(params_->Get("TestInteger"), params_->Get(4));
}

TEST_F(PlatformNodeMap, KindsFollowTheNodes) {
    struct Case {
        const char* name;
        PvGenType type;
    };
    const Case cases[] = {{"TestSelector", PvGenTypeInteger},  {"TestIntegerReg", PvGenTypeInteger},
                          {"TestFloat", PvGenTypeFloat},       {"TestFloatReg", PvGenTypeFloat},
                          {"TestBoolean", PvGenTypeBoolean},   {"TestString", PvGenTypeString},
                          {"TestEnum", PvGenTypeEnum},         {"TestCommand", PvGenTypeCommand},
                          {"TestRegister", PvGenTypeRegister}, {"TestStructLow", PvGenTypeInteger}};
    for (const Case& c : cases) {
        PvGenParameter* parameter = params_->Get(c.name);
        ASSERT_NE(parameter, nullptr) << c.name;
        PvGenType type = PvGenTypeUndefined;
        EXPECT_TRUE(parameter->GetType(type).IsOK());
        EXPECT_EQ(type, c.type) << c.name;
    }
    EXPECT_NE(dynamic_cast<PvGenEnum*>(params_->Get("TestEnum")), nullptr);
    EXPECT_EQ(dynamic_cast<PvGenInteger*>(params_->Get("TestEnum")), nullptr);
    EXPECT_EQ(dynamic_cast<PvGenRegister*>(params_->Get("TestString")), nullptr);
}

TEST_F(PlatformNodeMap, NameTextsFallBackToTheName) {
    PvGenParameter* integer = params_->Get("TestInteger");
    PvString text;
    EXPECT_TRUE(integer->GetDisplayName(text).IsOK());
    EXPECT_EQ(text, "Test Integer");
    integer->GetDescription(text);
    EXPECT_EQ(text, "An integer with a step");
    integer->GetToolTip(text);
    EXPECT_EQ(text, "Steps of ten");
    params_->Get("TestWide")->GetDisplayName(text);
    EXPECT_EQ(text, "TestWide");
    params_->Get("TestWide")->GetDescription(text);
    EXPECT_EQ(text, "");
}

TEST_F(PlatformNodeMap, CategoriesGiveEachFeatureItsPath) {
    std::vector<std::string> names;
    for (uint32_t i = 0; i < params_->GetCategoryCount(); ++i) {
        names.push_back(params_->GetCategory(i)->GetName().str());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Root", "TestControl", "Nested", "Inner"}));
    EXPECT_EQ(params_->GetCategory(params_->GetCategoryCount()), nullptr);
    EXPECT_EQ(params_->GetCategory("TestInteger"), nullptr);

    PvString text;
    params_->GetCategory("TestControl")->GetDisplayName(text);
    EXPECT_EQ(text, "Test Control");
    params_->GetCategory("Nested")->GetDisplayName(text);
    EXPECT_EQ(text, "Nested");

    params_->Get("TestInteger")->GetCategory(text);
    EXPECT_EQ(text, "Root\\TestControl");
    params_->Get("TestInnerValue")->GetCategory(text);
    EXPECT_EQ(text, "Root\\Nested\\Inner");
    params_->Get("TestWide")->GetCategory(text);
    EXPECT_EQ(text, "") << "listed by no category";
}

TEST_F(PlatformNodeMap, EnumerationEntriesKeepDocumentOrder) {
    PvGenEnum* enumeration = node<PvGenEnum>("TestEnum");
    ASSERT_NE(enumeration, nullptr);
    int64_t count = 0;
    ASSERT_TRUE(enumeration->GetEntriesCount(count).IsOK());
    ASSERT_EQ(count, 3);
    const char* names[] = {"Zebra", "Alpha", "Mid"};
    const int64_t values[] = {5, 1, 3};
    const char* display_names[] = {"Zebra", "First Letter", "Mid"};
    for (int64_t i = 0; i < count; ++i) {
        const PvGenEnumEntry* entry = nullptr;
        ASSERT_TRUE(enumeration->GetEntryByIndex(i, &entry).IsOK());
        PvString text;
        entry->GetName(text);
        EXPECT_EQ(text, names[i]);
        entry->GetDisplayName(text);
        EXPECT_EQ(text, display_names[i]);
        int64_t value = -1;
        EXPECT_TRUE(entry->GetValue(value).IsOK());
        EXPECT_EQ(value, values[i]);
    }
    const PvGenEnumEntry* entry = nullptr;
    EXPECT_EQ(enumeration->GetEntryByIndex(3, &entry).GetCode(), PvResult::NOT_FOUND);
    EXPECT_EQ(enumeration->GetEntryByIndex(-1, &entry).GetCode(), PvResult::NOT_FOUND);
    EXPECT_EQ(enumeration->GetEntryByName("zebra", &entry).GetCode(), PvResult::NOT_FOUND);

    // Availability of "Mid" follows TestBoolean on the device.
    ASSERT_TRUE(enumeration->GetEntryByName("Mid", &entry).IsOK());
    bool available = true;
    EXPECT_TRUE(entry->IsAvailable(available).IsOK());
    EXPECT_FALSE(available);
    set_device_register(kBooleanAddress, 1);
    EXPECT_TRUE(entry->IsAvailable(available).IsOK());
    EXPECT_TRUE(available);

    // Writes by name and by value reach the device; reads give both forms.
    ASSERT_TRUE(enumeration->SetValue(PvString("Alpha")).IsOK());
    EXPECT_EQ(device_register(kEnumAddress), 1u);
    ASSERT_TRUE(enumeration->SetValue(int64_t{5}).IsOK());
    EXPECT_EQ(device_register(kEnumAddress), 5u);
    PvString current;
    EXPECT_TRUE(enumeration->GetValue(current).IsOK());
    EXPECT_EQ(current, "Zebra");
    set_device_register(kEnumAddress, 3);
    int64_t value = 0;
    EXPECT_TRUE(enumeration->GetValue(value).IsOK());
    EXPECT_EQ(value, 3);
    EXPECT_EQ(enumeration->SetValue(PvString("Nothing")).GetCode(), PvResult::NOT_FOUND);
}

TEST_F(PlatformNodeMap, AccessFlagsCombineModeAvailabilityAndLock) {
    struct Case {
        const char* name;
        bool readable;
        bool writable;
    };
    // TestBoolean is 0: TestLocked is unlocked, TestUnavailable unavailable.
    const Case off[] = {{"TestInteger", true, true},     {"TestReadOnly", true, false},
                        {"TestWriteOnly", false, true},  {"TestCommand", false, true},
                        {"TestLocked", true, true},      {"TestUnavailable", false, false},
                        {"TestInnerValue", true, true}};
    for (const Case& c : off) {
        PvGenParameter* parameter = params_->Get(c.name);
        ASSERT_NE(parameter, nullptr) << c.name;
        bool readable = !c.readable;
        bool writable = !c.writable;
        EXPECT_TRUE(parameter->IsReadable(readable).IsOK());
        EXPECT_TRUE(parameter->IsWritable(writable).IsOK());
        EXPECT_EQ(readable, c.readable) << c.name;
        EXPECT_EQ(writable, c.writable) << c.name;
        EXPECT_EQ(parameter->IsReadable(), c.readable) << c.name;
        EXPECT_EQ(parameter->IsWritable(), c.writable) << c.name;
    }
    EXPECT_FALSE(params_->Get("TestUnavailable")->IsAvailable());
    set_device_register(kBooleanAddress, 1);
    EXPECT_TRUE(params_->Get("TestUnavailable")->IsAvailable());
    EXPECT_TRUE(params_->Get("TestUnavailable")->IsReadable());
    EXPECT_TRUE(params_->Get("TestLocked")->IsReadable());
    EXPECT_FALSE(params_->Get("TestLocked")->IsWritable());
}

TEST_F(PlatformNodeMap, WritesToReadOnlyNodesNeverReachTheDevice) {
    set_device_register(kReadOnlyAddress, 77);
    PvGenInteger* read_only = node<PvGenInteger>("TestReadOnly");
    ASSERT_NE(read_only, nullptr);
    PvResult result = read_only->SetValue(5);
    EXPECT_TRUE(result.IsFailure());
    EXPECT_EQ(result.GetCode(), PvResult::ACCESS_DENIED) << result.GetDescription().GetAscii();
    EXPECT_EQ(device_register(kReadOnlyAddress), 77u);
    int64_t value = 0;
    EXPECT_TRUE(read_only->GetValue(value).IsOK());
    EXPECT_EQ(value, 77);
    EXPECT_TRUE(read_only->FromString("6").IsFailure());
    EXPECT_EQ(device_register(kReadOnlyAddress), 77u);
}

TEST_F(PlatformNodeMap, IntegersReachTheDeviceWithTheirRanges) {
    PvGenInteger* integer = node<PvGenInteger>("TestInteger");
    ASSERT_NE(integer, nullptr);
    int64_t min = -1;
    int64_t max = -1;
    int64_t inc = -1;
    EXPECT_TRUE(integer->GetMin(min).IsOK());
    EXPECT_TRUE(integer->GetMax(max).IsOK());
    EXPECT_TRUE(integer->GetIncrement(inc).IsOK());
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 100);
    EXPECT_EQ(inc, 10);
    ASSERT_TRUE(integer->SetValue(40).IsOK());
    EXPECT_EQ(device_register(kIntegerAddress), 40u);
    set_device_register(kIntegerAddress, 0xFFFFFFFEu);  // -2 in the signed register
    int64_t value = 0;
    EXPECT_TRUE(integer->GetValue(value).IsOK());
    EXPECT_EQ(value, -2);

    PvGenInteger* wide = node<PvGenInteger>("TestWide");
    ASSERT_NE(wide, nullptr);
    EXPECT_TRUE(wide->GetMin(min).IsOK());
    EXPECT_TRUE(wide->GetMax(max).IsOK());
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 4294967295LL);
    ASSERT_TRUE(wide->SetValue(4000000000LL).IsOK());
    EXPECT_EQ(device_register(kWideAddress), 4000000000u);

    // StructEntry features share one register.
    PvGenInteger* low = node<PvGenInteger>("TestStructLow");
    PvGenInteger* high = node<PvGenInteger>("TestStructHigh");
    ASSERT_NE(low, nullptr);
    ASSERT_NE(high, nullptr);
    ASSERT_TRUE(low->SetValue(0x12).IsOK());
    ASSERT_TRUE(high->SetValue(0x34).IsOK());
    EXPECT_EQ(device_register(kStructAddress) & 0xFFFFu, 0x3412u);
}

TEST_F(PlatformNodeMap, FloatsReportTheirIncrementOrZero) {
    PvGenFloat* with_step = node<PvGenFloat>("TestFloat");
    PvGenFloat* without_step = node<PvGenFloat>("TestFloatReg");
    ASSERT_NE(with_step, nullptr);
    ASSERT_NE(without_step, nullptr);
    double inc = -1.0;
    EXPECT_TRUE(with_step->GetIncrement(inc).IsOK());
    EXPECT_DOUBLE_EQ(inc, 0.5);
    EXPECT_TRUE(without_step->GetIncrement(inc).IsOK());
    EXPECT_DOUBLE_EQ(inc, 0.0);
    double min = -1.0;
    double max = -1.0;
    EXPECT_TRUE(with_step->GetMin(min).IsOK());
    EXPECT_TRUE(with_step->GetMax(max).IsOK());
    EXPECT_DOUBLE_EQ(min, 0.0);
    EXPECT_DOUBLE_EQ(max, 100.0);

    ASSERT_TRUE(with_step->SetValue(12.5).IsOK());
    const std::string bytes = device_memory(kFloatAddress, 8);
    uint64_t bits = 0;
    for (unsigned char byte : bytes) {
        bits = (bits << 8) | byte;
    }
    double stored = 0.0;
    std::memcpy(&stored, &bits, sizeof stored);
    EXPECT_DOUBLE_EQ(stored, 12.5);
    double value = 0.0;
    EXPECT_TRUE(without_step->GetValue(value).IsOK());
    EXPECT_DOUBLE_EQ(value, 12.5);
}

TEST_F(PlatformNodeMap, BooleansStringsRegistersAndCommands) {
    PvGenBoolean* boolean = node<PvGenBoolean>("TestBoolean");
    ASSERT_NE(boolean, nullptr);
    ASSERT_TRUE(boolean->SetValue(true).IsOK());
    EXPECT_EQ(device_register(kBooleanAddress), 1u);
    set_device_register(kBooleanAddress, 0);
    bool flag = true;
    EXPECT_TRUE(boolean->GetValue(flag).IsOK());
    EXPECT_FALSE(flag);

    PvGenString* text = node<PvGenString>("TestString");
    ASSERT_NE(text, nullptr);
    int64_t max_length = 0;
    EXPECT_TRUE(text->GetMaxLength(max_length).IsOK());
    EXPECT_EQ(max_length, 16);
    ASSERT_TRUE(text->SetValue("Sensor").IsOK());
    EXPECT_EQ(device_memory(kStringAddress, 7), std::string("Sensor", 7));
    PvString value;
    EXPECT_TRUE(text->GetValue(value).IsOK());
    EXPECT_EQ(value, "Sensor");

    PvGenRegister* reg = node<PvGenRegister>("TestRegister");
    ASSERT_NE(reg, nullptr);
    int64_t length = 0;
    EXPECT_TRUE(reg->GetLength(length).IsOK());
    EXPECT_EQ(length, 8);
    const unsigned char bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_TRUE(reg->Set(bytes, 8).IsOK());
    EXPECT_EQ(device_memory(kRegisterAddress, 8), std::string("\x01\x02\x03\x04\x05\x06\x07\x08", 8));
    EXPECT_EQ(reg->Set(bytes, 4).GetCode(), PvResult::INVALID_PARAMETER);
    EXPECT_EQ(reg->Set(nullptr, 8).GetCode(), PvResult::INVALID_PARAMETER);
    unsigned char head[3] = {0, 0, 0};
    unsigned char guard_byte = 0xEE;
    ASSERT_TRUE(reg->Get(head, 3).IsOK());
    EXPECT_EQ(head[0], 1);
    EXPECT_EQ(head[2], 3);
    EXPECT_EQ(guard_byte, 0xEE);
    EXPECT_EQ(reg->Get(head, 0).GetCode(), PvResult::INVALID_PARAMETER);

    PvGenCommand* command = node<PvGenCommand>("TestCommand");
    ASSERT_NE(command, nullptr);
    ASSERT_TRUE(command->Execute().IsOK());
    EXPECT_EQ(device_register(kCommandAddress), 1u);
}

TEST_F(PlatformNodeMap, VisibilityCountsFromBeginnerToInvisible) {
    struct Case {
        const char* name;
        PvGenVisibility visibility;
    };
    const Case cases[] = {{"TestInteger", PvGenVisibilityBeginner},
                          {"TestSelector", PvGenVisibilityExpert},
                          {"TestRegister", PvGenVisibilityGuru},
                          {"TestInnerValue", PvGenVisibilityInvisible}};
    for (const Case& c : cases) {
        PvGenVisibility visibility = PvGenVisibilityUndefined;
        EXPECT_TRUE(params_->Get(c.name)->GetVisibility(visibility).IsOK());
        EXPECT_EQ(visibility, c.visibility) << c.name;
    }
    PvGenParameter* expert = params_->Get("TestSelector");
    EXPECT_FALSE(expert->IsVisible(PvGenVisibilityBeginner));
    EXPECT_TRUE(expert->IsVisible(PvGenVisibilityExpert));
    EXPECT_TRUE(expert->IsVisible(PvGenVisibilityGuru));
    EXPECT_TRUE(expert->IsVisible(PvGenVisibilityUndefined));
    EXPECT_TRUE(params_->Get("TestInnerValue")->IsVisible(PvGenVisibilityUndefined));
    EXPECT_FALSE(params_->Get("TestInnerValue")->IsVisible(PvGenVisibilityGuru));
}

TEST_F(PlatformNodeMap, SelectorRelationsRunBothWays) {
    PvGenParameter* selector = params_->Get("TestSelector");
    bool is_selector = false;
    EXPECT_TRUE(selector->IsSelector(is_selector).IsOK());
    EXPECT_TRUE(is_selector);
    PvGenParameterList selected;
    EXPECT_TRUE(selector->GetSelectedParameters(selected).IsOK());
    ASSERT_EQ(selected.GetSize(), 2u);
    EXPECT_EQ(selected.GetItem(0), params_->Get("TestSelectedA")) << "document order, not pSelected order";
    EXPECT_EQ(selected.GetItem(1), params_->Get("TestSelectedB"));
    EXPECT_EQ(selected.GetItem(2), nullptr);

    PvGenParameterList selecting;
    EXPECT_TRUE(params_->Get("TestSelectedB")->GetSelectingParameters(selecting).IsOK());
    ASSERT_EQ(selecting.GetSize(), 1u);
    EXPECT_EQ(selecting.GetItem(0), selector);

    EXPECT_TRUE(params_->Get("TestInteger")->IsSelector(is_selector).IsOK());
    EXPECT_FALSE(is_selector);
    EXPECT_TRUE(params_->Get("TestInteger")->GetSelectingParameters(selecting).IsOK());
    EXPECT_EQ(selecting.GetSize(), 0u);
}

TEST_F(PlatformNodeMap, TextFormsOfEveryKind) {
    struct Case {
        const char* name;
        const char* text;
    };
    const Case round_trips[] = {{"TestInteger", "30"},        {"TestWide", "4000000000"},
                                {"TestFloat", "2.5"},          {"TestBoolean", "true"},
                                {"TestString", "abc"},         {"TestEnum", "Alpha"},
                                {"TestIp", "192.168.7.9"},     {"TestRegister", "0102030405060708"}};
    for (const Case& c : round_trips) {
        PvGenParameter* parameter = params_->Get(c.name);
        ASSERT_NE(parameter, nullptr) << c.name;
        ASSERT_TRUE(parameter->FromString(c.text).IsOK()) << c.name;
        PvString text;
        ASSERT_TRUE(parameter->ToString(text).IsOK()) << c.name;
        EXPECT_EQ(text, c.text) << c.name;
    }
    EXPECT_EQ(device_register(kIpAddress), 0xC0A80709u);
    EXPECT_EQ(device_register(kEnumAddress), 1u);

    const Case refused[] = {{"TestInteger", "12x"}, {"TestFloat", ""},          {"TestBoolean", "yes"},
                            {"TestEnum", "1"},       {"TestRegister", "01020"}, {"TestCommand", "1"}};
    for (const Case& c : refused) {
        EXPECT_TRUE(params_->Get(c.name)->FromString(c.text).IsFailure()) << c.name << " " << c.text;
    }
    PvString text;
    EXPECT_EQ(params_->Get("TestCommand")->ToString(text).GetCode(), PvResult::NOT_SUPPORTED);
    EXPECT_EQ(device_register(kIntegerAddress), 30u) << "refused texts change nothing";
}

TEST_F(PlatformNodeMap, CachingFollowsTheRegisterDeclaration) {
    EXPECT_FALSE(params_->Get("TestReadOnly")->IsValueCached());
    EXPECT_TRUE(params_->Get("TestInteger")->IsValueCached());
}

class CountingSink : public PvGenEventSink {
public:
    void OnParameterUpdate(PvGenParameter* parameter) override {
        last = parameter;
        ++count;
    }
    PvGenParameter* last = nullptr;
    int count = 0;
};

TEST_F(PlatformNodeMap, SinksHearSuccessfulChangesOnly) {
    CountingSink sink;
    PvGenInteger* integer = node<PvGenInteger>("TestInteger");
    PvGenInteger* read_only = node<PvGenInteger>("TestReadOnly");
    ASSERT_TRUE(integer->RegisterEventSink(&sink).IsOK());
    ASSERT_TRUE(read_only->RegisterEventSink(&sink).IsOK());
    EXPECT_EQ(integer->RegisterEventSink(&sink).GetCode(), PvResult::INVALID_PARAMETER);
    ASSERT_TRUE(integer->SetValue(20).IsOK());
    EXPECT_EQ(sink.count, 1);
    EXPECT_EQ(sink.last, integer);
    EXPECT_TRUE(read_only->SetValue(1).IsFailure());
    EXPECT_EQ(sink.count, 1);
    EXPECT_TRUE(integer->UnregisterEventSink(&sink).IsOK());
    EXPECT_TRUE(read_only->UnregisterEventSink(&sink).IsOK());
    EXPECT_EQ(integer->UnregisterEventSink(&sink).GetCode(), PvResult::NOT_FOUND);
    ASSERT_TRUE(integer->SetValue(30).IsOK());
    EXPECT_EQ(sink.count, 1);
}

TEST_F(PlatformNodeMap, ConcurrentAccessIsSerialised) {
    PvGenInteger* integer = node<PvGenInteger>("TestInteger");
    PvGenString* text = node<PvGenString>("TestString");
    PvGenEnum* enumeration = node<PvGenEnum>("TestEnum");
    std::atomic<int> failures{0};
    auto worker = [&](int seed) {
        for (int i = 0; i < 200; ++i) {
            int64_t value = 0;
            PvString read;
            if (integer->SetValue((seed + i) % 11 * 10).IsFailure() || integer->GetValue(value).IsFailure() ||
                text->SetValue(seed == 0 ? "left" : "right").IsFailure() || text->GetValue(read).IsFailure() ||
                enumeration->SetValue(seed == 0 ? PvString("Zebra") : PvString("Alpha")).IsFailure() ||
                (read != "left" && read != "right")) {
                ++failures;
            }
        }
    };
    std::thread first(worker, 0);
    std::thread second(worker, 1);
    first.join();
    second.join();
    EXPECT_EQ(failures.load(), 0);
}

}  // namespace
