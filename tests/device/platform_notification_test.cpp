// Parameter-update notification through the platform: a sink hears of
// changes made through its own parameter and of those of every parameter
// its value depends on (value references, formulas, selectors, index
// registers, invalidators, bounds), transitively, and of nothing else.
// Against the virtual sensor serving a test-made description over real
// UDP on loopback (features in the sensor's plain memory), and against
// its built-in description (selectors).
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <string>

#include "platform/PvGenEventSink.h"
#include "platform_test_support.h"

namespace {

using platform_test::Rig;

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

using Counts = std::map<std::string, int>;

// Counts notifications per parameter name.
class CountingSink : public PvGenEventSink {
public:
    void OnParameterUpdate(PvGenParameter* parameter) override {
        std::lock_guard<std::mutex> guard(lock_);
        ++counts_[parameter->GetName().str()];
    }
    Counts take() {
        std::lock_guard<std::mutex> guard(lock_);
        Counts counts;
        counts.swap(counts_);
        return counts;
    }

private:
    std::mutex lock_;
    Counts counts_;
};

TEST(PlatformNotification, DependentsHearOfAChangeAndUnrelatedFeaturesDoNot) {
    Rig rig(kCustomSensorAddress, 160, 120, 50.0, kDescription);
    ASSERT_TRUE(rig.ready());
    PvGenParameterArray* parameters = rig.parameters();
    CountingSink sink;
    for (const char* name : {"Source", "Doubled", "Quadrupled", "Cached", "Bounded", "Indexed", "Unrelated"}) {
        PvGenParameter* parameter = parameters->Get(name);
        ASSERT_NE(parameter, nullptr) << name;
        ASSERT_TRUE(parameter->RegisterEventSink(&sink).IsOK()) << name;
    }
    EXPECT_EQ(parameters->Get("Source")->RegisterEventSink(&sink).GetCode(), PvResult::INVALID_PARAMETER)
        << "registered twice";
    PvGenInteger* source = dynamic_cast<PvGenInteger*>(parameters->Get("Source"));
    ASSERT_TRUE(source->SetValue(21).IsOK());
    EXPECT_EQ(sink.take(), (Counts{{"Source", 1}, {"Doubled", 1}, {"Quadrupled", 1}, {"Cached", 1}, {"Bounded", 1}}));
    EXPECT_EQ(platform_test::got<int64_t>(rig.node<PvGenInteger>("Quadrupled"), &PvGenInteger::GetValue), 84);

    PvGenInteger* selector = dynamic_cast<PvGenInteger*>(parameters->Get("Selector"));
    ASSERT_TRUE(selector->SetValue(2).IsOK());
    EXPECT_EQ(sink.take(), (Counts{{"Indexed", 1}})) << "the selector's own sink is not registered";

    ASSERT_TRUE(dynamic_cast<PvGenInteger*>(parameters->Get("Unrelated"))->SetValue(5).IsOK());
    EXPECT_EQ(sink.take(), (Counts{{"Unrelated", 1}}));

    // A refused write tells nobody.
    EXPECT_TRUE(dynamic_cast<PvGenInteger*>(parameters->Get("Doubled"))->SetValue(4).IsFailure());
    EXPECT_TRUE(sink.take().empty());

    // Unregistered sinks hear nothing more.
    for (const char* name : {"Source", "Doubled", "Quadrupled", "Cached", "Bounded", "Indexed", "Unrelated"}) {
        ASSERT_TRUE(parameters->Get(name)->UnregisterEventSink(&sink).IsOK()) << name;
    }
    EXPECT_EQ(parameters->Get("Source")->UnregisterEventSink(&sink).GetCode(), PvResult::NOT_FOUND);
    ASSERT_TRUE(source->SetValue(3).IsOK());
    EXPECT_TRUE(sink.take().empty());
}

TEST(PlatformNotification, ComponentFeaturesHearOfTheirSelector) {
    Rig rig(kBuiltInSensorAddress);
    ASSERT_TRUE(rig.ready());
    PvGenParameterArray* parameters = rig.parameters();
    CountingSink sink;
    for (const char* name : {"ComponentEnable", "PixelFormat", "Width"}) {
        ASSERT_TRUE(parameters->Get(name)->RegisterEventSink(&sink).IsOK()) << name;
    }
    rig.set_enum("ComponentSelector", "Intensity");
    const Counts counts = sink.take();
    EXPECT_EQ(counts.count("ComponentEnable"), 1u);
    EXPECT_EQ(counts.count("PixelFormat"), 1u);
    EXPECT_EQ(counts.count("Width"), 0u) << "the width does not depend on the component";
    for (const char* name : {"ComponentEnable", "PixelFormat", "Width"}) {
        parameters->Get(name)->UnregisterEventSink(&sink);
    }
}

}  // namespace
