// The device node map through the platform classes, on the virtual sensor
// with the tests' features as its description file (test_genicam.h), which
// live in the sensor's plain memory: each check is a real node on a real
// device, and values are verified by reading the device's memory behind the
// node map.
#include <arv.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/PvGenFloat.h"
#include "platform/PvGenRegister.h"
#include "platform/PvGenString.h"
#include "platform_test_support.h"

namespace {

using platform_test::got;
using platform_test::Rig;

constexpr const char* kSensorAddress = "127.0.46.1";
using orntest::kPlainMemory;

using namespace orntest::plain;

// Features in the order of the suite's file: categories and ports are not
// parameters, StructEntry and grouped features stand where they are.
const std::vector<std::string> kDocumentOrder = {
    "TestSelector",     "TestSelectorReg",     "TestSelectedA",   "TestSelectedB", "TestInteger",    "TestIntegerReg",
    "TestWide",         "TestReadOnly",        "TestWriteOnly",   "TestFloat",     "TestFloatReg",   "TestBoolean",
    "TestBooleanReg",   "TestString",          "TestEnum",        "TestEnumReg",   "TestCommand",    "TestCommandReg",
    "TestRegister",     "TestLocked",          "TestUnavailable", "TestIp",        "TestIpReg",      "TestStructLow",
    "TestStructHigh",   "TestInnerValue",      "Source",          "SourceReg",     "Doubled",        "Quadrupled",
    "Cached",           "CachedReg",           "Bounded",         "BoundedReg",    "Selector",       "SelectorReg",
    "Indexed",          "IndexedReg",          "Unrelated",       "UnrelatedReg",  "IntStep4",       "IntStep4Reg",
    "IntMinusOneToU32", "IntMinusOneToU32Reg", "IntFull64",       "IntTo2Pow32",   "IntTo2Pow32Reg", "RawSpan"};

class PlatformNodeMap : public ::testing::Test {
protected:
    static void SetUpTestSuite() { rig_ = new Rig(kSensorAddress, 160, 120, 50.0, orntest::test_features_xml()); }
    static void TearDownTestSuite() {
        delete rig_;
        rig_ = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(rig_->ready());
        params_ = rig_->parameters();
        ASSERT_NE(params_, nullptr);
        // Every case starts from zeroed plain memory.
        std::vector<unsigned char> zeros(0x100, 0);
        ASSERT_TRUE(arv_device_write_memory(rig_->device()->GetArvDevice(), kPlainMemory,
                                            static_cast<guint32>(zeros.size()), zeros.data(), nullptr));
    }

    template <typename T = PvGenParameter>
    T* node(const char* name) {
        return rig_->node<T>(name);
    }
    // The device's memory, read and written around the node map.
    static uint32_t device_register(uint32_t offset) { return rig_->read_register(kPlainMemory + offset); }
    static void set_device_register(uint32_t offset, uint32_t value) {
        platform_test::write_register(rig_->device(), kPlainMemory + offset, value);
    }
    static std::string device_memory(uint32_t offset, uint32_t size) {
        std::string bytes(size, '\0');
        EXPECT_TRUE(
            arv_device_read_memory(rig_->device()->GetArvDevice(), kPlainMemory + offset, size, &bytes[0], nullptr));
        return bytes;
    }

    static Rig* rig_;
    PvGenParameterArray* params_ = nullptr;
};

Rig* PlatformNodeMap::rig_ = nullptr;

TEST_F(PlatformNodeMap, WalksTheFeaturesInDocumentOrderWithTheirKindsWithoutAravisNodes) {
    std::vector<std::string> names;
    for (uint32_t i = 0; i < params_->GetCount(); ++i) {
        names.push_back(params_->Get(i)->GetName().str());
    }
    EXPECT_EQ(names, kDocumentOrder);
    // (Lookups by index and by name, past the end and of unknown names:
    // Connect.EveryNodeOfTheThreeMapsIsReadAndWrittenBack and ParamRules.)
    EXPECT_EQ(params_->Get("ArvGevSCPSPacketSize"), nullptr);
    EXPECT_EQ(params_->Get("Device"), nullptr) << "a port is not a parameter";

    // Kinds follow the nodes (their values: ParamRules.KindsAndIntegerRangeGettersFollowThe32BitViews).
    EXPECT_EQ(dynamic_cast<PvGenInteger*>(params_->Get("TestEnum")), nullptr);
    EXPECT_EQ(dynamic_cast<PvGenRegister*>(params_->Get("TestString")), nullptr);
}

TEST_F(PlatformNodeMap, NameTextsFallBackToTheNameAndCategoriesGiveEachFeatureItsPath) {
    const PvGenParameter* integer = params_->Get("TestInteger");
    const PvGenParameter* wide = params_->Get("TestWide");
    EXPECT_EQ(got<PvString>(integer, &PvGenParameter::GetDescription), "An integer with a step");
    EXPECT_EQ(got<PvString>(integer, &PvGenParameter::GetToolTip), "Steps of ten");
    EXPECT_EQ(got<PvString>(wide, &PvGenParameter::GetDisplayName), "TestWide");
    EXPECT_EQ(got<PvString>(wide, &PvGenParameter::GetDescription), "");

    // Categories give each feature its path.
    std::vector<std::string> names;
    for (uint32_t i = 0; i < params_->GetCategoryCount(); ++i) {
        names.push_back(params_->GetCategory(i)->GetName().str());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Root", "RangeTests", "Nested", "Inner"}));
    EXPECT_EQ(params_->GetCategory(params_->GetCategoryCount()), nullptr);
    EXPECT_EQ(params_->GetCategory("TestInteger"), nullptr);

    EXPECT_EQ(got<PvString>(params_->GetCategory("RangeTests"), &PvGenCategory::GetDisplayName), "Range Tests");
    EXPECT_EQ(got<PvString>(params_->GetCategory("Nested"), &PvGenCategory::GetDisplayName), "Nested");
    EXPECT_EQ(got<PvString>(integer, &PvGenParameter::GetCategory), "Root\\RangeTests");
    EXPECT_EQ(got<PvString>(params_->Get("TestInnerValue"), &PvGenParameter::GetCategory), "Root\\Nested\\Inner");
    EXPECT_EQ(got<PvString>(wide, &PvGenParameter::GetCategory), "") << "listed by no category";
}

TEST_F(PlatformNodeMap, AccessFlagsCombineModeAvailabilityAndLock) {
    struct Case {
        const char* name;
        bool readable;
        bool writable;
    };
    // TestBoolean is 0: TestLocked is unlocked, TestUnavailable unavailable.
    const Case off[] = {{"TestInteger", true, true},   {"TestReadOnly", true, false}, {"TestWriteOnly", false, true},
                        {"TestCommand", true, true},   {"TestLocked", true, true},    {"TestUnavailable", false, false},
                        {"TestInnerValue", true, true}};
    for (const Case& c : off) {
        EXPECT_EQ(got<bool>(node(c.name), &PvGenParameter::IsReadable, !c.readable), c.readable) << c.name;
        EXPECT_EQ(got<bool>(node(c.name), &PvGenParameter::IsWritable, !c.writable), c.writable) << c.name;
    }
    EXPECT_FALSE(params_->Get("TestUnavailable")->IsAvailable());
    set_device_register(kBoolean, 1);
    EXPECT_TRUE(params_->Get("TestUnavailable")->IsAvailable());
    EXPECT_TRUE(params_->Get("TestUnavailable")->IsReadable());
    EXPECT_TRUE(params_->Get("TestLocked")->IsReadable());
    EXPECT_FALSE(params_->Get("TestLocked")->IsWritable());

    // Writes to read-only nodes never reach the device.
    set_device_register(kReadOnly, 77);
    PvGenInteger* read_only = node<PvGenInteger>("TestReadOnly");
    EXPECT_EQ(read_only->SetValue(5).GetCode(), PvResult::ACCESS_DENIED);
    EXPECT_TRUE(read_only->FromString("6").IsFailure());
    EXPECT_EQ(device_register(kReadOnly), 77u);
    EXPECT_EQ(got<int64_t>(read_only, &PvGenInteger::GetValue), 77);
}

// Declared ranges and increments of integers and floats: ParamRules, through
// the calls that read them here.
TEST_F(PlatformNodeMap, NumbersReachTheDeviceWithTheirRangesAndIncrements) {
    PvGenInteger* integer = node<PvGenInteger>("TestInteger");
    ASSERT_TRUE(integer->SetValue(40).IsOK());
    EXPECT_EQ(device_register(kInteger), 40u);
    set_device_register(kInteger, 0xFFFFFFFEu);  // -2 in the signed register
    EXPECT_EQ(got<int64_t>(integer, &PvGenInteger::GetValue), -2);

    PvGenInteger* wide = node<PvGenInteger>("TestWide");
    ASSERT_TRUE(wide->SetValue(4000000000LL).IsOK());
    EXPECT_EQ(device_register(kWide), 4000000000u);
    // A formula declares no range: it spans the whole 64-bit range.
    PvGenInteger* doubled = node<PvGenInteger>("Doubled");
    EXPECT_EQ(got<int64_t>(doubled, &PvGenInteger::GetMin), INT64_MIN);
    EXPECT_EQ(got<int64_t>(doubled, &PvGenInteger::GetMax), INT64_MAX);

    // StructEntry features share one register.
    ASSERT_TRUE(node<PvGenInteger>("TestStructLow")->SetValue(0x12).IsOK());
    ASSERT_TRUE(node<PvGenInteger>("TestStructHigh")->SetValue(0x34).IsOK());
    EXPECT_EQ(device_register(kStruct) & 0xFFFFu, 0x3412u);

    // Floats report their increment, or zero without one.
    PvGenFloat* with_step = node<PvGenFloat>("TestFloat");
    PvGenFloat* without_step = node<PvGenFloat>("TestFloatReg");
    EXPECT_DOUBLE_EQ(got<double>(with_step, &PvGenFloat::GetIncrement), 0.5);
    EXPECT_DOUBLE_EQ(got<double>(without_step, &PvGenFloat::GetIncrement, -1.0), 0.0);
    ASSERT_TRUE(with_step->SetValue(12.5).IsOK());
    EXPECT_EQ(device_memory(kFloat, 8), std::string("\x40\x29\0\0\0\0\0\0", 8)) << "12.5, big-endian";
    EXPECT_DOUBLE_EQ(got<double>(without_step, &PvGenFloat::GetValue), 12.5);
}

TEST_F(PlatformNodeMap, TextFormsOfEveryKind) {
    using Case = std::pair<const char*, const char*>;  // a feature and a text
    const Case round_trips[] = {{"TestInteger", "30"},     {"TestWide", "4000000000"},
                                {"TestFloat", "2.5"},      {"TestBoolean", "true"},
                                {"TestString", "abc"},     {"TestEnum", "Alpha"},
                                {"TestIp", "192.168.7.9"}, {"TestRegister", "0102030405060708"}};
    for (const auto& [name, text] : round_trips) {
        ASSERT_TRUE(node(name)->FromString(text).IsOK()) << name;
        EXPECT_EQ(got<PvString>(node(name), &PvGenParameter::ToString), text) << name;
    }
    EXPECT_EQ(device_register(kIp), 0xC0A80709u);
    EXPECT_EQ(device_register(kEnum), 1u);

    const Case refused[] = {{"TestInteger", "12x"}, {"TestFloat", ""},         {"TestBoolean", "yes"},
                            {"TestEnum", "1"},      {"TestRegister", "01020"}, {"TestCommand", "1"}};
    for (const auto& [name, text] : refused) {
        EXPECT_TRUE(params_->Get(name)->FromString(text).IsFailure()) << name << " " << text;
    }
    PvString text;
    EXPECT_EQ(params_->Get("TestCommand")->ToString(text).GetCode(), PvResult::NOT_SUPPORTED);
    EXPECT_EQ(device_register(kInteger), 30u) << "refused texts change nothing";
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
