// Parameter-update notification through the platform: a sink hears of
// changes made through its own parameter and of those of every parameter
// its value depends on (value references, formulas, selectors, index
// registers, invalidators, bounds), transitively, and of nothing else.
// Against the virtual sensor serving a test-made description over real
// UDP on loopback (features in the sensor's plain memory), and against
// its built-in description (selectors).
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ornsim/virtual_sensor.h"
#include "platform/PvDeviceGEV.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenEventSink.h"
#include "platform/PvGenInteger.h"
#include "platform/PvGenParameterArray.h"
#include "platform_stream_support.h"
#include "platform_test_support.h"

namespace {

using stream_test::describe;
using stream_test::DevicePtr;

constexpr const char* kCustomSensorAddress = "127.0.47.30";
constexpr const char* kBuiltInSensorAddress = "127.0.47.31";

// Features over the sensor's plain memory (0x00100000):
//   Source -> Doubled (formula) -> Quadrupled (formula of a formula)
//   Source invalidates Cached; Source bounds Bounded (pMax)
//   Selector indexes Indexed (pIndex) and selects it (pSelected)
//   Unrelated depends on nothing.
const char* kDescription = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="NotificationTest" VendorName="ORNC" StandardNameSpace="GEV"
  SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0"
  SubMinorVersion="0" ProductGuid="6f726e63-7465-7374-0000-000000000011"
  VersionGuid="6f726e63-7465-7374-0000-000000000012" xmlns="http://www.genicam.org/GenApi/Version_1_1"
  xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
  xsi:schemaLocation="http://www.genicam.org/GenApi/Version_1_1 GenApiSchema_Version_1_1.xsd">
  <Category Name="Root" NameSpace="Standard">
    <pFeature>Source</pFeature><pFeature>Doubled</pFeature><pFeature>Quadrupled</pFeature>
    <pFeature>Cached</pFeature><pFeature>Bounded</pFeature><pFeature>Selector</pFeature>
    <pFeature>Indexed</pFeature><pFeature>Unrelated</pFeature>
  </Category>
  <Integer Name="Source" NameSpace="Custom"><pValue>SourceReg</pValue><Min>0</Min><Max>1000</Max></Integer>
  <IntReg Name="SourceReg" NameSpace="Custom"><Address>0x00100000</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <IntSwissKnife Name="Doubled" NameSpace="Custom"><pVariable Name="S">Source</pVariable><Formula>S*2</Formula></IntSwissKnife>
  <IntSwissKnife Name="Quadrupled" NameSpace="Custom"><pVariable Name="D">Doubled</pVariable><Formula>D*2</Formula></IntSwissKnife>
  <Integer Name="Cached" NameSpace="Custom"><pValue>CachedReg</pValue></Integer>
  <IntReg Name="CachedReg" NameSpace="Custom"><Address>0x00100004</Address><Length>4</Length><AccessMode>RO</AccessMode>
    <pPort>Device</pPort><pInvalidator>Source</pInvalidator><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Integer Name="Bounded" NameSpace="Custom"><pValue>BoundedReg</pValue><Min>0</Min><pMax>Source</pMax></Integer>
  <IntReg Name="BoundedReg" NameSpace="Custom"><Address>0x00100008</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Integer Name="Selector" NameSpace="Custom"><pValue>SelectorReg</pValue><Min>0</Min><Max>3</Max>
    <pSelected>Indexed</pSelected></Integer>
  <IntReg Name="SelectorReg" NameSpace="Custom"><Address>0x0010000C</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Integer Name="Indexed" NameSpace="Custom"><pValue>IndexedReg</pValue></Integer>
  <IntReg Name="IndexedReg" NameSpace="Custom"><Address>0x00100010</Address><pIndex Offset="4">SelectorReg</pIndex>
    <Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Integer Name="Unrelated" NameSpace="Custom"><pValue>UnrelatedReg</pValue></Integer>
  <IntReg Name="UnrelatedReg" NameSpace="Custom"><Address>0x00100020</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Port Name="Device" NameSpace="Standard"/>
</RegisterDescription>
)";

// Counts notifications per parameter name.
class CountingSink : public PvGenEventSink {
public:
    void OnParameterUpdate(PvGenParameter* parameter) override {
        std::lock_guard<std::mutex> guard(lock_);
        ++counts_[parameter->GetName().str()];
    }
    std::map<std::string, int> take() {
        std::lock_guard<std::mutex> guard(lock_);
        std::map<std::string, int> counts;
        counts.swap(counts_);
        return counts;
    }

private:
    std::mutex lock_;
    std::map<std::string, int> counts_;
};

class SensorWithFile {
public:
    SensorWithFile(const char* address, const char* description) : file_("notification.xml") {
        ornsim::SensorConfig config;
        config.address = address;
        if (description != nullptr) {
            EXPECT_TRUE(file_.write(description));
            config.genicam_file = file_.path();
        }
        sensor_.reset(new ornsim::VirtualSensor(config));
        std::string error;
        EXPECT_TRUE(sensor_->start(&error)) << error;
        PvResult result;
        device_.reset(PvDevice::CreateAndConnect(PvString(address), &result));
        EXPECT_NE(device_, nullptr) << describe(result);
    }
    PvGenParameterArray* parameters() { return device_ != nullptr ? device_->GetParameters() : nullptr; }

private:
    platform_test::TempFile file_;
    std::unique_ptr<ornsim::VirtualSensor> sensor_;
    DevicePtr device_;
};

TEST(PlatformNotification, DependentsHearOfAChangeAndUnrelatedFeaturesDoNot) {
    SensorWithFile rig(kCustomSensorAddress, kDescription);
    PvGenParameterArray* parameters = rig.parameters();
    ASSERT_NE(parameters, nullptr);
    CountingSink sink;
    for (const char* name : {"Source", "Doubled", "Quadrupled", "Cached", "Bounded", "Indexed", "Unrelated"}) {
        PvGenParameter* parameter = parameters->Get(name);
        ASSERT_NE(parameter, nullptr) << name;
        ASSERT_TRUE(parameter->RegisterEventSink(&sink).IsOK()) << name;
    }
    PvGenInteger* source = dynamic_cast<PvGenInteger*>(parameters->Get("Source"));
    ASSERT_TRUE(source->SetValue(21).IsOK());
    const std::map<std::string, int> after_source = sink.take();
    const std::map<std::string, int> expected_source = {
        {"Source", 1}, {"Doubled", 1}, {"Quadrupled", 1}, {"Cached", 1}, {"Bounded", 1}};
    EXPECT_EQ(after_source, expected_source);
    int64_t quadrupled = 0;
    ASSERT_TRUE(dynamic_cast<PvGenInteger*>(parameters->Get("Quadrupled"))->GetValue(quadrupled).IsOK());
    EXPECT_EQ(quadrupled, 84);

    PvGenInteger* selector = dynamic_cast<PvGenInteger*>(parameters->Get("Selector"));
    ASSERT_TRUE(selector->SetValue(2).IsOK());
    const std::map<std::string, int> expected_selector = {{"Indexed", 1}};
    EXPECT_EQ(sink.take(), expected_selector) << "the selector's own sink is not registered";

    ASSERT_TRUE(dynamic_cast<PvGenInteger*>(parameters->Get("Unrelated"))->SetValue(5).IsOK());
    const std::map<std::string, int> expected_unrelated = {{"Unrelated", 1}};
    EXPECT_EQ(sink.take(), expected_unrelated);

    // A refused write tells nobody.
    EXPECT_TRUE(dynamic_cast<PvGenInteger*>(parameters->Get("Doubled"))->SetValue(4).IsFailure());
    EXPECT_TRUE(sink.take().empty());

    // Unregistered sinks hear nothing more.
    for (const char* name : {"Source", "Doubled", "Quadrupled", "Cached", "Bounded", "Indexed", "Unrelated"}) {
        ASSERT_TRUE(parameters->Get(name)->UnregisterEventSink(&sink).IsOK()) << name;
    }
    ASSERT_TRUE(source->SetValue(3).IsOK());
    EXPECT_TRUE(sink.take().empty());
}

TEST(PlatformNotification, ComponentFeaturesHearOfTheirSelector) {
    SensorWithFile rig(kBuiltInSensorAddress, nullptr);
    PvGenParameterArray* parameters = rig.parameters();
    ASSERT_NE(parameters, nullptr);
    CountingSink sink;
    for (const char* name : {"ComponentEnable", "PixelFormat", "Width"}) {
        ASSERT_TRUE(parameters->Get(name)->RegisterEventSink(&sink).IsOK()) << name;
    }
    PvGenEnum* component = dynamic_cast<PvGenEnum*>(parameters->Get("ComponentSelector"));
    ASSERT_NE(component, nullptr);
    ASSERT_TRUE(component->SetValue(PvString("Intensity")).IsOK());
    const std::map<std::string, int> counts = sink.take();
    EXPECT_EQ(counts.count("ComponentEnable"), 1u);
    EXPECT_EQ(counts.count("PixelFormat"), 1u);
    EXPECT_EQ(counts.count("Width"), 0u) << "the width does not depend on the component";
    for (const char* name : {"ComponentEnable", "PixelFormat", "Width"}) {
        parameters->Get(name)->UnregisterEventSink(&sink);
    }
}

}  // namespace
