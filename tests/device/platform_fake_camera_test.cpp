// Aravis's own fake camera as a peer: a description file written by
// someone else, walked and read through the platform classes.
#include <arv.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/PvDevice.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenInteger.h"
#include "platform/PvGenParameterArray.h"
#include "platform_test_support.h"

namespace {

// The fake camera only listens on an address some interface holds: on
// loopback that is 127.0.0.1.
constexpr const char* kCameraAddress = "127.0.0.1";

class PlatformFakeCamera : public ::testing::Test {
protected:
    void SetUp() override {
        camera_.reset(new platform_test::FakeCamera(ORNC_FAKE_GV_CAMERA, kCameraAddress));
        if (!camera_->started()) {
            GTEST_SKIP() << "no fake camera at " << ORNC_FAKE_GV_CAMERA << " (run scripts/install-deps.sh)";
        }
        // The camera needs a moment to bind; connect attempts are bounded.
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        if (!camera_->running()) {
            GTEST_SKIP() << "the fake camera could not listen on " << kCameraAddress;
        }
        PvResult result;
        device_ = PvDevice::CreateAndConnect(PvString(kCameraAddress), &result);
        ASSERT_NE(device_, nullptr) << result.GetDescription().GetAscii();
    }
    void TearDown() override {
        PvDevice::Free(device_);
        camera_.reset();
    }

    std::unique_ptr<platform_test::FakeCamera> camera_;
    PvDevice* device_ = nullptr;
};

// Names of the elements `tag` in the description, in document order.
std::vector<std::string> names_of(const std::string& xml, const std::string& tag) {
    std::vector<std::string> names;
    const std::string opening = "<" + tag + " ";
    for (size_t at = xml.find(opening); at != std::string::npos; at = xml.find(opening, at + 1)) {
        const size_t name = xml.find("Name=\"", at);
        const size_t end = xml.find('>', at);
        if (name == std::string::npos || name > end) {
            continue;
        }
        const size_t first = name + 6;
        names.push_back(xml.substr(first, xml.find('"', first) - first));
    }
    return names;
}

TEST_F(PlatformFakeCamera, WalksAndReadsEveryFeature) {
    PvGenParameterArray* params = device_->GetParameters();
    ASSERT_NE(params, nullptr);
    ASSERT_GT(params->GetCount(), 30u);
    int readable = 0;
    for (uint32_t i = 0; i < params->GetCount(); ++i) {
        PvGenParameter* parameter = params->Get(i);
        const std::string name = parameter->GetName().str();
        EXPECT_NE(name.rfind("ArvGev", 0), 0u) << name;
        PvGenType type = PvGenTypeUndefined;
        parameter->GetType(type);
        if (type == PvGenTypeCommand || type == PvGenTypeRegister || !parameter->IsReadable()) {
            continue;
        }
        PvString text;
        PvResult result = parameter->ToString(text);
        EXPECT_TRUE(result.IsOK()) << name << ": " << result.GetDescription().GetAscii();
        ++readable;
    }
    EXPECT_GT(readable, 20);

    PvString text;
    ASSERT_NE(params->Get("DeviceModelName"), nullptr);
    ASSERT_TRUE(params->Get("DeviceModelName")->ToString(text).IsOK());
    EXPECT_GT(text.GetLength(), 0u);
    PvGenInteger* width = dynamic_cast<PvGenInteger*>(params->Get("Width"));
    ASSERT_NE(width, nullptr);
    ASSERT_TRUE(width->SetValue(256).IsOK());
    int64_t value = 0;
    ASSERT_TRUE(width->GetValue(value).IsOK());
    EXPECT_EQ(value, 256);
}

TEST_F(PlatformFakeCamera, EnumerationsFollowTheCamerasFile) {
    size_t size = 0;
    const char* xml = arv_device_get_genicam_xml(device_->GetArvDevice(), &size);
    ASSERT_NE(xml, nullptr);
    const std::string description(xml, size);
    PvGenEnum* pixel_format = dynamic_cast<PvGenEnum*>(device_->GetParameters()->Get("PixelFormat"));
    ASSERT_NE(pixel_format, nullptr);
    const size_t begin = description.find("<Enumeration Name=\"PixelFormat\"");
    ASSERT_NE(begin, std::string::npos);
    const size_t end = description.find("</Enumeration>", begin);
    const std::vector<std::string> expected = names_of(description.substr(begin, end - begin), "EnumEntry");
    ASSERT_FALSE(expected.empty());
    std::vector<std::string> entries;
    int64_t count = 0;
    ASSERT_TRUE(pixel_format->GetEntriesCount(count).IsOK());
    for (int64_t i = 0; i < count; ++i) {
        const PvGenEnumEntry* entry = nullptr;
        ASSERT_TRUE(pixel_format->GetEntryByIndex(i, &entry).IsOK());
        PvString name;
        entry->GetName(name);
        entries.push_back(name.str());
    }
    EXPECT_EQ(entries, expected);
}

}  // namespace
