// Parameter-update sinks through the platform: each is registered once and
// hears nothing once unregistered. What a sink hears of (its parameter and
// every parameter its value depends on, and nothing else) is checked
// through the library's parameter callbacks, which are such sinks:
// ParamRules.CallbacksHearOfWhatTheirValueDependsOn.
#include <gtest/gtest.h>

#include <atomic>

#include "platform/PvGenEventSink.h"
#include "platform_test_support.h"

namespace {

class CountingSink : public PvGenEventSink {
public:
    void OnParameterUpdate(PvGenParameter*) override { ++calls; }
    std::atomic<int> calls{0};
};

TEST(PlatformNotification, ASinkIsRegisteredOnceAndHearsNothingOnceUnregistered) {
    platform_test::Rig rig("127.0.47.30", 160, 120, 50.0, orntest::test_features_xml());
    ASSERT_TRUE(rig.ready());
    PvGenInteger* source = rig.node<PvGenInteger>("Source");
    CountingSink sink;
    ASSERT_TRUE(source->RegisterEventSink(&sink).IsOK());
    EXPECT_EQ(source->RegisterEventSink(&sink).GetCode(), PvResult::INVALID_PARAMETER) << "registered twice";
    ASSERT_TRUE(source->SetValue(21).IsOK());
    EXPECT_EQ(sink.calls.load(), 1);
    ASSERT_TRUE(source->UnregisterEventSink(&sink).IsOK());
    EXPECT_EQ(source->UnregisterEventSink(&sink).GetCode(), PvResult::NOT_FOUND);
    ASSERT_TRUE(source->SetValue(3).IsOK());
    EXPECT_EQ(sink.calls.load(), 1);
}

}  // namespace
