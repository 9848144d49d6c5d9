// Parameter-update notification through the platform: a sink hears of
// changes made through its own parameter and of those of every parameter
// its value depends on (value references, formulas, selectors, index
// registers, invalidators, bounds), transitively, and of nothing else.
// Against the virtual sensor serving the tests' features as its description
// (orntest::test_features_xml) over real UDP on loopback, and against
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
    Rig rig(kCustomSensorAddress, 160, 120, 50.0, orntest::test_features_xml());
    ASSERT_TRUE(rig.ready());
    CountingSink sink;
    const char* const heard[] = {"Source", "Doubled", "Quadrupled", "Cached", "Bounded", "Indexed", "Unrelated"};
    for (const char* name : heard) {
        ASSERT_TRUE(rig.node(name)->RegisterEventSink(&sink).IsOK()) << name;
    }
    EXPECT_EQ(rig.node("Source")->RegisterEventSink(&sink).GetCode(), PvResult::INVALID_PARAMETER)
        << "registered twice";
    PvGenInteger* source = rig.node<PvGenInteger>("Source");
    ASSERT_TRUE(source->SetValue(21).IsOK());
    EXPECT_EQ(sink.take(), (Counts{{"Source", 1}, {"Doubled", 1}, {"Quadrupled", 1}, {"Cached", 1}, {"Bounded", 1}}));
    EXPECT_EQ(platform_test::got<int64_t>(rig.node<PvGenInteger>("Quadrupled"), &PvGenInteger::GetValue), 84);

    ASSERT_TRUE(rig.node<PvGenInteger>("Selector")->SetValue(2).IsOK());
    EXPECT_EQ(sink.take(), (Counts{{"Indexed", 1}})) << "the selector's own sink is not registered";

    ASSERT_TRUE(rig.node<PvGenInteger>("Unrelated")->SetValue(5).IsOK());
    EXPECT_EQ(sink.take(), (Counts{{"Unrelated", 1}}));

    // A refused write tells nobody.
    EXPECT_TRUE(rig.node<PvGenInteger>("Doubled")->SetValue(4).IsFailure());
    EXPECT_TRUE(sink.take().empty());

    // Unregistered sinks hear nothing more.
    for (const char* name : heard) {
        ASSERT_TRUE(rig.node(name)->UnregisterEventSink(&sink).IsOK()) << name;
    }
    EXPECT_EQ(rig.node("Source")->UnregisterEventSink(&sink).GetCode(), PvResult::NOT_FOUND);
    ASSERT_TRUE(source->SetValue(3).IsOK());
    EXPECT_TRUE(sink.take().empty());
}

TEST(PlatformNotification, ComponentFeaturesHearOfTheirSelector) {
    Rig rig(kBuiltInSensorAddress);
    ASSERT_TRUE(rig.ready());
    CountingSink sink;
    for (const char* name : {"ComponentEnable", "PixelFormat", "Width"}) {
        ASSERT_TRUE(rig.node(name)->RegisterEventSink(&sink).IsOK()) << name;
    }
    rig.set_enum("ComponentSelector", "Intensity");
    // The width does not depend on the component.
    EXPECT_EQ(sink.take(), (Counts{{"ComponentEnable", 1}, {"PixelFormat", 1}}));
    for (const char* name : {"ComponentEnable", "PixelFormat", "Width"}) {
        rig.node(name)->UnregisterEventSink(&sink);
    }
}

}  // namespace
