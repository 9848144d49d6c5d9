// The library handle, the version texts and the system handle's guards,
// through the exported functions. No device is needed.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ORNC.h"
#include "environment.h"
#include "handles.h"
#include "log_capture.h"
#include "temp_dir.h"
#include "wait.h"

namespace {

TEST(HandleLifecycle, InitGivesAnEmptyHandleAndDestroyClearsItAndStopsLogging) {
    ornc_t ornc;
    ornc.priv = reinterpret_cast<ornc_priv_t*>(&ornc);  // garbage that InitEmpty must clear
    ORNCInitEmpty(&ornc);
    EXPECT_EQ(nullptr, ornc.priv);
    ASSERT_EQ(ORNC_OK, ORNCInit(&ornc));
    ASSERT_NE(nullptr, ornc.priv);
    // Nothing connected yet; no configuration store on Linux, so logging stays off.
    EXPECT_EQ(nullptr, ORNCGetDeviceParams(&ornc));
    EXPECT_EQ(0, ORNCGetComponentCount(&ornc));
    EXPECT_EQ(0, ORNDoLog(ORN_LOGLVL_FATAL, ORN_LOGCAT_MISC));
    ORNCDestroy(&ornc);
    EXPECT_EQ(nullptr, ornc.priv);
    ORNCDestroy(&ornc);  // a second time does nothing
    ORNCDestroy(nullptr);
    EXPECT_EQ(ORNC_ERR_UNINITIALIZED, ORNCInit(nullptr));

    orntest::LogCapture log;
    ASSERT_EQ(ORNC_OK, ORNCInit(&ornc));
    EXPECT_EQ(1, log.count_containing("ORNCInit success"));
    ORNCDestroy(&ornc);
    EXPECT_EQ(1, log.count_containing("ORNC: Destroyed"));
    EXPECT_EQ(0, ORNDoLog(ORN_LOGLVL_FATAL, ORN_LOGCAT_MISC));
}

// Both texts are copied all or nothing, as the unit tests of the copy
// show; here the boundary of one of them.
TEST(HandleLifecycle, VersionTexts) {
    char text[32];
    EXPECT_EQ(11, ORNCGetVersion(text, sizeof text));
    EXPECT_STREQ("1.6.2.5563", text);
    EXPECT_EQ(20, ORNCGetVersionDetail(text, sizeof text));
    EXPECT_STREQ("ORNC SDK 1.6.2.5563", text);
    EXPECT_EQ(0, ORNCGetVersion(text, 10));
    EXPECT_STREQ("", text);
    EXPECT_EQ(11, ORNCGetVersion(text, 11));
}

TEST(SystemHandle, UninitialisedHandlesAreRefusedAndInitDoesNotDiscover) {
    ornc_system_t sys{nullptr};
    EXPECT_EQ(std::vector<int>({ORNCSysFindDevices(&sys), ORNCSysFindDevices(nullptr), ORNCSysGetInterfaceCount(&sys),
                                ORNCSysGetInterfaceCount(nullptr), ORNCSysGetDeviceCount(&sys), ORNCSysInit(nullptr)}),
              std::vector<int>({ORNC_ERR_UNINITIALIZED, ORNC_ERR_UNINITIALIZED, ORNC_ERR_UNINITIALIZED,
                                ORNC_ERR_UNINITIALIZED, ORNC_ERR_UNINITIALIZED, ORNC_ERROR}));
    EXPECT_EQ(
        std::vector<const void*>({ORNCSysGetInterface(&sys, 0), ORNCSysGetDevice(&sys, 0),
                                  ORNCSysGetDevice(nullptr, -1), ORNCSysGetDeviceByPattern(&sys, "x"),
                                  ORNCSysGetDeviceBySerialNumber(&sys, "x"), ORNCSysGetDeviceByIP(&sys, "127.0.0.1")}),
        std::vector<const void*>(6, nullptr));
    ORNCSysDestroy(nullptr);
    ORNCSysDestroy(&sys);
    EXPECT_EQ(nullptr, sys.priv);

    orntest::LogCapture log;
    ASSERT_EQ(ORNC_OK, ORNCSysInit(&sys));
    ASSERT_NE(nullptr, sys.priv);
    EXPECT_EQ(1, log.count_containing("ORNC: Initializing system"));
    EXPECT_EQ(0, log.count_containing("ORNC: Finding devices"));
    ORNCSysDestroy(&sys);
    EXPECT_EQ(nullptr, sys.priv);
    EXPECT_EQ(1, log.count_containing("ORNC: Destroying system"));
}

}  // namespace
