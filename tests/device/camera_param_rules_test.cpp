// The value rules of the parameter API on real nodes of a real device: the
// virtual sensor runs its built-in GenICam file with the tests' features
// (test_genicam.h) in its plain memory (step rounding, clamping, 32-bit views, 64-bit ranges,
// read-only and write-only nodes, registers, strings, enumerations,
// booleans, commands, selectors), reached over GVCP on loopback.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

#include "ORNC.h"
#include "handles.h"
#include "log_capture.h"
#include "ornsim/components.h"
#include "sensor.h"
#include "temp_dir.h"
#include "test_genicam.h"

namespace {

using Int = std::pair<ornc_status_t, int>;
using UInt = std::pair<ornc_status_t, unsigned int>;
using Text = std::pair<ornc_status_t, std::string>;
using orntest::device_param;
using orntest::value_text;

constexpr const char* kSerial = "RT000001";

class ParamRules : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        workdir_ = new orntest::TempWorkDir;
        ornsim::SensorConfig config = orntest::sensor_config(orntest::Block::camera, 10, kSerial);
        config.genicam_file = workdir_->path() + "/range_tests.xml";
        orntest::write_file(config.genicam_file, orntest::range_test_xml(config));
        sensor_ = new orntest::SensorScope(config);
        handle_ = new orntest::Handle;
        connect_status_ = sensor_->ok() ? ORNCConnectBySerialNumber(handle_->get(), nullptr, kSerial) : ORNC_ERROR;
    }
    static void TearDownTestSuite() {
        delete handle_;
        delete sensor_;
        delete workdir_;
    }
    void SetUp() override {
        ASSERT_TRUE(sensor_->ok()) << sensor_->error();
        ASSERT_EQ(connect_status_, ORNC_OK);
    }

    static ornc_param_t* param(const char* name) { return device_param(handle_->get(), name); }

    static int64_t read_int(const char* name) {
        int value = -12345;
        EXPECT_EQ(ORNCParamGetIntegerValue(param(name), &value), ORNC_OK) << name;
        return value;
    }
    // A typed getter's status and its output, which starts as `unset`.
    template <typename T>
    static std::pair<ornc_status_t, T> got(ornc_status_t (*getter)(const ornc_param_t*, T*), const char* name,
                                           T unset) {
        T value = unset;
        const ornc_status_t status = getter(param(name), &value);
        return {status, value};
    }
    // ORNCParamGetValue's status and text in a buffer of `size` that held "junk".
    static std::pair<ornc_status_t, std::string> text_in(const char* name, int size) {
        char text[32] = "junk";
        const ornc_status_t status = ORNCParamGetValue(param(name), text, size);
        return {status, text};
    }

    static orntest::TempWorkDir* workdir_;
    static orntest::SensorScope* sensor_;
    static orntest::Handle* handle_;
    static ornc_status_t connect_status_;
};

orntest::TempWorkDir* ParamRules::workdir_ = nullptr;
orntest::SensorScope* ParamRules::sensor_ = nullptr;
orntest::Handle* ParamRules::handle_ = nullptr;
ornc_status_t ParamRules::connect_status_ = ORNC_ERROR;

TEST_F(ParamRules, IntegerWritesAreRoundedToTheStepAndClamped) {
    ornc_param_t* step10 = param("TestInteger");
    const struct {
        int written;
        int stored;
    } step10_cases[] = {{14, 10}, {15, 20}, {95, 100}, {250, 100}, {-7, 0}, {40, 40}};
    for (const auto& c : step10_cases) {
        ASSERT_EQ(ORNCParamSetIntegerValue(step10, c.written), ORNC_OK) << c.written;
        EXPECT_EQ(read_int("TestInteger"), c.stored) << "written " << c.written;
    }
    // 99 rounds to 101 on the grid from 1 and is clamped to 100, off the grid.
    ornc_param_t* step4 = param("IntStep4");
    ASSERT_EQ(ORNCParamSetIntegerValue(step4, 99), ORNC_OK);
    EXPECT_EQ(read_int("IntStep4"), 100);
    ASSERT_EQ(ORNCParamSetIntegerValue(step4, 50), ORNC_OK);
    EXPECT_EQ(read_int("IntStep4"), 49);
    ASSERT_EQ(ORNCParamSetUIntegerValue(step4, 4000000000u), ORNC_OK);
    EXPECT_EQ(read_int("IntStep4"), 100);
    // Increment 1: only clamping.
    ornc_param_t* selector = param("Selector");
    ASSERT_EQ(ORNCParamSetIntegerValue(selector, 2), ORNC_OK);
    EXPECT_EQ(read_int("Selector"), 2);
    ASSERT_EQ(ORNCParamSetIntegerValue(selector, 9), ORNC_OK);
    EXPECT_EQ(read_int("Selector"), 3);
    // The text form takes the same path.
    ASSERT_EQ(ORNCParamSetValue(step10, "64"), ORNC_OK);
    EXPECT_EQ(value_text(step10), "60");
    EXPECT_EQ(ORNCParamSetValue(step10, "sixty"), ORNC_ERR_PARAM_INVALID_VALUE);
    EXPECT_EQ(value_text(step10), "60");
    ASSERT_EQ(ORNCParamSetIntegerValue(param("Source"), 60), ORNC_OK);
    EXPECT_EQ(value_text(param("Doubled")), "120");
}

// Integers take the kind of the 32-bit view their range fits, or none; an
// unreadable one (TestWriteOnly, 32-bit unsigned) is an integer.
TEST_F(ParamRules, KindsAndIntegerRangeGettersFollowThe32BitViews) {
    const std::pair<const char*, orn_param_type_t> kinds[] = {
        {"TestInteger", ORN_PARAM_INTEGER}, {"TestWide", ORN_PARAM_UINTEGER}, {"IntMinusOneToU32", ORN_PARAM_NONE},
        {"IntFull64", ORN_PARAM_INTEGER},   {"IntTo2Pow32", ORN_PARAM_NONE},  {"TestWriteOnly", ORN_PARAM_INTEGER},
        {"RawSpan", ORN_PARAM_REGISTER},    {"TestFloat", ORN_PARAM_FLOAT},   {"TestString", ORN_PARAM_STRING},
        {"TestBoolean", ORN_PARAM_BOOLEAN}, {"TestEnum", ORN_PARAM_ENUM},     {"TestCommand", ORN_PARAM_COMMAND},
        {"Doubled", ORN_PARAM_INTEGER}};
    for (const auto& kind : kinds) EXPECT_EQ(ORNCParamGetType(param(kind.first)), kind.second) << kind.first;
    EXPECT_EQ(ORNCParamGetType(nullptr), ORN_PARAM_NONE);

    int min = 1;
    int max = 1;
    unsigned int inc = 0;
    ASSERT_EQ(ORNCParamGetIntegerMinMaxIncValues(param("TestInteger"), &min, &max, &inc), ORNC_OK);
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 100);
    EXPECT_EQ(inc, 10u);
    ASSERT_EQ(ORNCParamGetIntegerIncValue(param("IntStep4"), &inc), ORNC_OK);
    EXPECT_EQ(inc, 4u);

    // The unsigned range has no signed view: outputs stay as they were.
    EXPECT_EQ(got(ORNCParamGetIntegerMinValue, "TestWide", 7), Int(ORNC_ERR_PARAM_TYPE_MISMATCH, 7));
    unsigned int umin = 7;
    unsigned int umax = 0;
    ASSERT_EQ(ORNCParamGetUIntegerMinMaxIncValues(param("TestWide"), &umin, &umax, nullptr), ORNC_OK);
    EXPECT_EQ(umin, 0u);
    EXPECT_EQ(umax, 4294967295u);
    EXPECT_EQ(ORNCParamGetUIntegerMaxValue(param("TestInteger"), &umax), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamGetUIntegerMinValue(param("IntMinusOneToU32"), &umin), ORNC_ERR_PARAM_TYPE_MISMATCH);

    // The full 64-bit range counts as signed; its ends are cut, not clamped.
    ASSERT_EQ(ORNCParamGetIntegerMinMaxIncValues(param("IntFull64"), &min, &max, nullptr), ORNC_OK);
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, -1);
    // So does a formula, which declares no range at all.
    ASSERT_EQ(ORNCParamGetIntegerMinMaxIncValues(param("Doubled"), &min, &max, nullptr), ORNC_OK);
    EXPECT_EQ(max, -1);

    // A float is the wrong kind for a range and a mismatch for a value.
    EXPECT_EQ(got(ORNCParamGetIntegerMinValue, "TestFloat", 55), Int(ORNC_ERR_PARAM_WRONG_TYPE, 0));
    EXPECT_EQ(got(ORNCParamGetIntegerValue, "TestFloat", 55), Int(ORNC_ERR_PARAM_TYPE_MISMATCH, 55));
    EXPECT_EQ(got(ORNCParamGetFloatMinValue, "TestInteger", 1.0f), std::make_pair(ORNC_ERR_PARAM_WRONG_TYPE, 0.0f));
}

TEST_F(ParamRules, ValuesBeyondTheViewAreReportedOutOfRange) {
    // -1, 2^40 and 2^32 as big-endian 64-bit values, through the register
    // that spans the three nodes.
    unsigned char raw[24] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0x01, 0,
                             0,    0,    0,    0,    0,    0,    0,    0x01, 0, 0, 0,    0};
    ornc_param_t* span = param("RawSpan");
    ASSERT_EQ(ORNCParamSetRegisterValue(span, reinterpret_cast<const char*>(raw), sizeof raw), ORNC_OK);
    char back[24] = {};
    ASSERT_EQ(ORNCParamGetRegisterValue(span, back, sizeof back), ORNC_OK);
    EXPECT_EQ(std::memcmp(raw, back, sizeof raw), 0);

    EXPECT_EQ(got(ORNCParamGetIntegerValue, "IntMinusOneToU32", 77), Int(ORNC_OK, -1));
    EXPECT_EQ(got(ORNCParamGetUIntegerValue, "IntMinusOneToU32", 77u), UInt(ORNC_ERR_OUT_OF_RANGE, 77));
    EXPECT_EQ(got(ORNCParamGetIntegerValue, "IntTo2Pow32", 77), Int(ORNC_ERR_OUT_OF_RANGE, 77));
    EXPECT_EQ(got(ORNCParamGetUIntegerValue, "IntTo2Pow32", 77u), UInt(ORNC_ERR_OUT_OF_RANGE, 77));
    EXPECT_EQ(got(ORNCParamGetIntegerValue, "IntFull64", 77), Int(ORNC_ERR_OUT_OF_RANGE, 77));

    // Text forms: no view at all is -1 for reads and -209 for writes; a
    // view whose value does not fit is the typed read's -6.
    EXPECT_EQ(value_text(param("IntTo2Pow32")), "<status -1>");
    EXPECT_EQ(value_text(param("IntFull64")), "<status -6>");
    EXPECT_EQ(ORNCParamSetValue(param("IntTo2Pow32"), "5"), ORNC_ERR_PARAM_INVALID_VALUE);
    EXPECT_EQ(ORNCParamSetValue(param("IntMinusOneToU32"), "5"), ORNC_ERR_PARAM_INVALID_VALUE);
    ASSERT_EQ(ORNCParamSetValue(param("IntFull64"), "-123456"), ORNC_OK);
    EXPECT_EQ(value_text(param("IntFull64")), "-123456");
}

TEST_F(ParamRules, UnsignedNodesTakeTheUnsignedPath) {
    ornc_param_t* u32 = param("TestWide");
    ASSERT_EQ(ORNCParamSetValue(u32, "4000000000"), ORNC_OK);
    EXPECT_EQ(got(ORNCParamGetUIntegerValue, "TestWide", 0u), UInt(ORNC_OK, 4000000000u));
    EXPECT_EQ(value_text(u32), "4000000000");
    EXPECT_EQ(got(ORNCParamGetIntegerValue, "TestWide", 9), Int(ORNC_ERR_OUT_OF_RANGE, 9));
    ASSERT_EQ(ORNCParamSetUIntegerValue(u32, 4294967295u), ORNC_OK);
    EXPECT_EQ(value_text(u32), "4294967295");
    ASSERT_EQ(ORNCParamSetIntegerValue(u32, -5), ORNC_OK);  // clamped to the minimum
    EXPECT_EQ(value_text(u32), "0");
}

TEST_F(ParamRules, FloatWritesAreClampedAndPrintedWithSixDecimals) {
    ornc_param_t* f = param("TestFloat");
    float min = -1.0f;
    float max = -1.0f;
    ASSERT_EQ(ORNCParamGetFloatMinMaxValues(f, &min, &max), ORNC_OK);
    EXPECT_EQ(min, 0.0f);
    EXPECT_EQ(max, 100.0f);

    ASSERT_EQ(ORNCParamSetFloatValue(f, 1e9f), ORNC_OK);
    EXPECT_EQ(got(ORNCParamGetFloatValue, "TestFloat", -1.0f), std::make_pair(ORNC_OK, 100.0f));
    ASSERT_EQ(ORNCParamSetFloatValue(f, -3.0f), ORNC_OK);
    EXPECT_EQ(got(ORNCParamGetFloatValue, "TestFloat", -1.0f), std::make_pair(ORNC_OK, 0.0f));

    ASSERT_EQ(ORNCParamSetValue(f, "2.5"), ORNC_OK);
    EXPECT_EQ(value_text(f), "2.500000");
    EXPECT_EQ(text_in("TestFloat", 8), Text(ORNC_ERR_STRING_TOO_LONG, ""));
    EXPECT_EQ(text_in("TestFloat", 9), Text(ORNC_OK, "2.500000"));
    EXPECT_EQ(ORNCParamSetValue(f, "much"), ORNC_ERR_PARAM_INVALID_VALUE);

    // A NaN fails both comparisons and reaches the device unclamped.
    ASSERT_EQ(ORNCParamSetFloatValue(f, std::numeric_limits<float>::quiet_NaN()), ORNC_OK);
    const auto nan = got(ORNCParamGetFloatValue, "TestFloat", 0.0f);
    EXPECT_EQ(nan.first, ORNC_OK);
    EXPECT_TRUE(std::isnan(nan.second));
}

TEST_F(ParamRules, ReadOnlyAndWriteOnlyNodesAreCheckedBeforeTheDevice) {
    ornc_param_t* ro = param("TestReadOnly");
    EXPECT_EQ(ORNCParamIsReadable(ro), 1);
    EXPECT_EQ(ORNCParamIsWritable(ro), 0);
    const uint64_t commands_before = sensor_->sensor().counters().gvcp_commands;
    EXPECT_EQ(ORNCParamSetIntegerValue(ro, 5), ORNC_ERR_PARAM_NOT_WRITEABLE);
    EXPECT_EQ(ORNCParamSetValue(ro, "5"), ORNC_ERR_PARAM_NOT_WRITEABLE);
    EXPECT_EQ(ORNCParamSetFloatValue(ro, 1.0f), ORNC_ERR_PARAM_NOT_WRITEABLE);
    EXPECT_EQ(sensor_->sensor().counters().gvcp_commands, commands_before);
    EXPECT_EQ(value_text(ro), "0");

    ornc_param_t* wo = param("TestWriteOnly");
    EXPECT_EQ(ORNCParamIsReadable(wo), 0);
    EXPECT_EQ(ORNCParamIsWritable(wo), 1);
    EXPECT_EQ(got(ORNCParamGetIntegerValue, "TestWriteOnly", 3), Int(ORNC_ERR_PARAM_NOT_READABLE, 3));
    EXPECT_EQ(text_in("TestWriteOnly", 16), Text(ORNC_ERR_PARAM_NOT_READABLE, ""));
    EXPECT_EQ(ORNCParamSetIntegerValue(wo, 500), ORNC_OK);
    EXPECT_EQ(ORNCParamSetValue(wo, "600"), ORNC_OK);
    // The built-in read-only features refuse writes the same way.
    EXPECT_EQ(ORNCParamSetIntegerValue(param("SensorWidth"), 10), ORNC_ERR_PARAM_NOT_WRITEABLE);
    EXPECT_EQ(ORNCParamSetStringValue(param("DeviceModelName"), "x"), ORNC_ERR_PARAM_NOT_WRITEABLE);
}

TEST_F(ParamRules, StringsAreCutToTheBufferAndRegistersCopiedRaw) {
    ornc_param_t* s = param("TestString");
    ASSERT_EQ(ORNCParamSetStringValue(s, "Sensor"), ORNC_OK);
    char text[32];
    ASSERT_EQ(ORNCParamGetStringValue(s, text, 4), ORNC_OK);
    EXPECT_STREQ(text, "Sen");
    ASSERT_EQ(ORNCParamGetStringValue(s, text, sizeof text), ORNC_OK);
    EXPECT_STREQ(text, "Sensor");
    EXPECT_EQ(ORNCParamGetStringSize(s), 7);
    int maxsize = 0;
    ASSERT_EQ(ORNCParamGetStringMaxSize(s, &maxsize), ORNC_OK);
    EXPECT_EQ(maxsize, 16);
    // The text form of a string is cut the same way, and still succeeds.
    ASSERT_EQ(ORNCParamGetValue(s, text, 4), ORNC_OK);
    EXPECT_STREQ(text, "Sen");
    ASSERT_EQ(ORNCParamSetValue(s, "abc"), ORNC_OK);
    EXPECT_EQ(value_text(s), "abc");
    EXPECT_EQ(ORNCParamGetStringSize(param("TestInteger")), 0);
    EXPECT_EQ(ORNCParamGetStringMaxSize(param("TestInteger"), &maxsize), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamGetStringValue(param("TestInteger"), text, sizeof text), ORNC_ERR_PARAM_TYPE_MISMATCH);

    ornc_param_t* reg = param("TestRegister");
    const char raw[8] = {'\x01', '\x00', '\x7f', '\x80', '\xff', 'A', 'B', '\x00'};
    ASSERT_EQ(ORNCParamSetRegisterValue(reg, raw, sizeof raw), ORNC_OK);
    char back[8] = {};
    ASSERT_EQ(ORNCParamGetRegisterValue(reg, back, sizeof back), ORNC_OK);
    EXPECT_EQ(std::memcmp(raw, back, sizeof raw), 0);
    // Neither text form exists for registers.
    EXPECT_EQ(text_in("TestRegister", 32), Text(ORNC_ERROR, ""));
    EXPECT_EQ(ORNCParamSetValue(reg, "1"), ORNC_ERR_INTERNAL);
    EXPECT_EQ(ORNCParamGetRegisterValue(param("TestInteger"), back, sizeof back), ORNC_ERR_PARAM_TYPE_MISMATCH);
}

TEST_F(ParamRules, BooleanTextsAreNumbersOrExactWords) {
    ornc_param_t* b = param("TestBoolean");
    const struct {
        const char* text;
        ornc_status_t status;
        const char* after;
    } cases[] = {{"1", ORNC_OK, "true"},
                 {"0", ORNC_OK, "false"},
                 {"10", ORNC_OK, "true"},
                 {"false", ORNC_OK, "false"},
                 {"1x", ORNC_OK, "true"},
                 {"00", ORNC_OK, "false"},
                 {"true", ORNC_OK, "true"},
                 {"True", ORNC_ERR_PARAM_INVALID_VALUE, "true"},
                 {"yes", ORNC_ERR_PARAM_INVALID_VALUE, "true"}};
    for (const auto& c : cases) {
        EXPECT_EQ(ORNCParamSetValue(b, c.text), c.status) << c.text;
        EXPECT_EQ(value_text(b), c.after) << c.text;
    }
    ASSERT_EQ(ORNCParamSetBooleanValue(b, 0), ORNC_OK);
    EXPECT_EQ(got(ORNCParamGetBooleanValue, "TestBoolean", 9), Int(ORNC_OK, 0));
    EXPECT_EQ(ORNCParamSetBooleanValue(param("TestInteger"), 1), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(got(ORNCParamGetBooleanValue, "TestEnum", 9).first, ORNC_ERR_PARAM_TYPE_MISMATCH);
}

TEST_F(ParamRules, EnumerationsAreReadAndWrittenByTheirNumbers) {
    ornc_param_t* e = param("TestEnum");
    int count = 0;
    ASSERT_EQ(ORNCParamGetEnumEntryCount(e, &count), ORNC_OK);
    EXPECT_EQ(count, 3);
    int value = 0;
    ASSERT_EQ(ORNCParamGetEnumEntryValue(e, 1, &value), ORNC_OK);
    EXPECT_EQ(value, 1);
    // "Mid" is available while TestBoolean is set.
    orn_bool_t available = 0;
    ASSERT_EQ(ORNCParamSetBooleanValue(param("TestBoolean"), 1), ORNC_OK);
    ASSERT_EQ(ORNCParamGetEnumEntryAvailable(e, 2, &available), ORNC_OK);
    EXPECT_EQ(available, 1);
    char name[32];
    ASSERT_EQ(ORNCParamGetEnumEntryName(e, 1, name, 4), ORNC_OK);
    EXPECT_STREQ(name, "Alp");
    ASSERT_EQ(ORNCParamGetEnumEntryName(e, 1, name, sizeof name), ORNC_OK);
    EXPECT_STREQ(name, "Alpha");
    ASSERT_EQ(ORNCParamGetEnumEntryDisplayName(e, 1, name, sizeof name), ORNC_OK);
    EXPECT_STREQ(name, "First Letter");
    EXPECT_EQ(ORNCParamGetEnumEntryValue(e, 3, &value), ORNC_ERROR);
    EXPECT_EQ(ORNCParamGetEnumEntryName(e, -1, name, sizeof name), ORNC_ERROR);

    ASSERT_EQ(ORNCParamSetValue(e, "3"), ORNC_OK);
    EXPECT_EQ(got(ORNCParamGetEnumValue, "TestEnum", 0), Int(ORNC_OK, 3));
    EXPECT_EQ(ORNCParamSetValue(e, "Alpha"), ORNC_ERR_PARAM_INVALID_VALUE);
    ASSERT_EQ(ORNCParamSetEnumValueByName(e, "Alpha"), ORNC_OK);
    EXPECT_EQ(value_text(e), "1");
    EXPECT_EQ(ORNCParamSetEnumValueByName(e, "Nope"), ORNC_ERR_ENUM_ENTRY_NOT_FOUND);
    ASSERT_EQ(ORNCParamSetEnumValue(e, 5), ORNC_OK);
    EXPECT_EQ(value_text(e), "5");
    // A number no entry has is the node's to refuse.
    EXPECT_EQ(ORNCParamSetEnumValue(e, 42), ORNC_ERR_PARAM_WRITE_FAILED);
    EXPECT_EQ(value_text(e), "5");

    EXPECT_EQ(ORNCParamSetEnumValue(param("TestInteger"), 1), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamGetEnumEntryCount(param("TestInteger"), &count), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamGetEnumValue(param("TestInteger"), &value), ORNC_ERR_PARAM_TYPE_MISMATCH);
}

TEST_F(ParamRules, CommandsAreSentWhateverTheDeviceAnswers) {
    ornc_param_t* c = param("TestCommand");
    EXPECT_EQ(ORNCParamSendCommand(c), ORNC_OK);
    EXPECT_EQ(ORNCParamSendCommand(param("TestInteger")), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamSendCommand(nullptr), ORNC_ERR_PARAM_TYPE_MISMATCH);
    // A command on a readable register is readable but has no text form;
    // writing one as text is not supported.
    EXPECT_EQ(ORNCParamIsReadable(c), 1);
    EXPECT_EQ(text_in("TestCommand", 8), Text(ORNC_ERROR, ""));
    EXPECT_EQ(ORNCParamSetValue(c, "1"), ORNC_ERR_INTERNAL);

    ornsim::FaultSwitches faults;
    faults.refuse_writes_feature = "TestCommand";
    sensor_->sensor().set_faults(faults);
    EXPECT_EQ(ORNCParamSendCommand(c), ORNC_OK);
    sensor_->sensor().set_faults(ornsim::FaultSwitches{});
}

TEST_F(ParamRules, RefusedWritesAreReportedAndLogged) {
    ornc_param_t* p = param("TestInteger");
    ASSERT_EQ(ORNCParamSetIntegerValue(p, 30), ORNC_OK);
    ornsim::FaultSwitches faults;
    faults.refuse_writes_feature = "TestInteger";
    sensor_->sensor().set_faults(faults);
    {
        orntest::LogCapture log;
        EXPECT_EQ(ORNCParamSetIntegerValue(p, 70), ORNC_ERR_PARAM_WRITE_FAILED);
        EXPECT_EQ(ORNCParamSetValue(p, "80"), ORNC_ERR_PARAM_WRITE_FAILED);
        EXPECT_EQ(log.count_containing("ORNC: Parameter TestInteger write failed code "), 2);
    }
    sensor_->sensor().set_faults(ornsim::FaultSwitches{});
    EXPECT_EQ(read_int("TestInteger"), 30);
    EXPECT_EQ(ORNCParamSetIntegerValue(p, 70), ORNC_OK);
    EXPECT_EQ(read_int("TestInteger"), 70);
}

TEST_F(ParamRules, SelectorsKnowWhatTheySelect) {
    ornc_param_t* selector = param("Selector");
    ornc_param_t* selected = param("Indexed");
    EXPECT_EQ(ORNCParamIsSelector(selector), 1);
    EXPECT_EQ(ORNCParamIsSelected(selected), 1);
    EXPECT_EQ(ORNCParamIsSelected(selector), 0);
    EXPECT_EQ(ORNCParamGetSelectingRange(selector), 4);
    EXPECT_EQ(ORNCParamGetSelectingRange(selected), 0);
    EXPECT_EQ(ORNCParamGetSelectingRange(param("ComponentSelector")), 3);
    EXPECT_EQ(ORNCParamGetSelectedCount(selector), 1);
    EXPECT_EQ(ORNCParamGetSelectedIndex(selector, 0), selected);
    EXPECT_EQ(ORNCParamGetSelectedIndex(selector, 1), nullptr);
    EXPECT_EQ(ORNCParamGetSelectedIndex(selector, -1), nullptr);
    EXPECT_EQ(ORNCParamGetSelectingCount(selected), 1);
    EXPECT_EQ(ORNCParamGetSelectingIndex(selected, 0), selector);

    // Each selector value addresses its own register.
    ASSERT_EQ(ORNCParamSetIntegerValue(selector, 1), ORNC_OK);
    ASSERT_EQ(ORNCParamSetIntegerValue(selected, 111), ORNC_OK);
    ASSERT_EQ(ORNCParamSetIntegerValue(selector, 2), ORNC_OK);
    ASSERT_EQ(ORNCParamSetIntegerValue(selected, 222), ORNC_OK);
    ASSERT_EQ(ORNCParamSetIntegerValue(selector, 1), ORNC_OK);
    EXPECT_EQ(value_text(selected), "111");

    // The stream channel selector of the built-in file selects 8 features.
    ornc_param_t* channel = param("GevStreamChannelSelector");
    ASSERT_EQ(ORNCParamGetSelectedCount(channel), 8);
    ornc_param_t* arr[10];
    for (ornc_param_t*& p : arr) p = selector;
    EXPECT_EQ(ORNCParamGetSelectedArray(channel, arr, 3), -1);
    EXPECT_EQ(arr[0], nullptr);
    EXPECT_EQ(arr[2], nullptr);
    EXPECT_EQ(arr[3], selector);
    EXPECT_EQ(ORNCParamGetSelectedArray(channel, arr, 10), 8);
    EXPECT_EQ(orntest::param_name(arr[0]), "GevSCPHostPort");
    EXPECT_EQ(orntest::param_name(arr[7]), "GevSCCFGMultiPartEnabled");
    EXPECT_EQ(arr[8], selector);
    EXPECT_EQ(ORNCParamGetSelectedArray(channel, nullptr, 0), -1);
    EXPECT_EQ(ORNCParamGetSelectedArray(selected, nullptr, 0), 0);
    EXPECT_EQ(ORNCParamGetSelectedArray(channel, arr, 0), -2);
    EXPECT_EQ(ORNCParamGetSelectedArray(channel, nullptr, 4), -2);
    EXPECT_EQ(ORNCParamGetSelectingArray(selected, arr, -1), -2);
    EXPECT_EQ(ORNCParamGetSelectingArray(selected, arr, 1), 1);
    EXPECT_EQ(arr[0], selector);
}

TEST_F(ParamRules, NamesAndAttributesComeFromTheDescriptionFile) {
    ornc_param_t* width = param("Width");
    EXPECT_EQ(ORNCParamGetName(width, nullptr, 0), 6);
    char text[128];
    std::strcpy(text, "junk");
    EXPECT_EQ(ORNCParamGetName(width, text, 5), 0);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(ORNCParamGetName(width, text, 6), 6);
    EXPECT_STREQ(text, "Width");
    ASSERT_GT(ORNCParamGetTooltip(width, text, sizeof text), 0);
    EXPECT_STREQ(text, "Width of the images sent, in pixels.");
    ASSERT_GT(ORNCParamGetDisplayName(param("TestInteger"), text, sizeof text), 0);
    EXPECT_STREQ(text, "Test Integer");

    EXPECT_EQ(ORNCParamGetVisibility(width), ORN_VIS_BEGINNER);
    EXPECT_EQ(ORNCParamGetVisibility(param("SensorWidth")), ORN_VIS_EXPERT);
    EXPECT_EQ(ORNCParamGetVisibility(param("GevVersionMajor")), ORN_VIS_GURU);
    EXPECT_EQ(ORNCParamGetVisibility(param("WidthReg")), ORN_VIS_INVISIBLE);
    for (const char* name : {"Width", "GevVersionMajor", "WidthReg"}) {
        EXPECT_EQ(ORNCParamIsVisible(param(name), ORN_VIS_BEGINNER), ORNCParamIsVisible(param(name), ORN_VIS_GURU))
            << name;
    }
    EXPECT_EQ(ORNCParamIsAvailable(width), 1);
    EXPECT_EQ(ORNCParamIsCached(param("TestInteger")), 1);
    EXPECT_EQ(ORNCParamIsCached(param("TestReadOnly")), 0);

    // Category membership accepts the path with and without the root.
    ornc_parameters_t* params = ORNCGetDeviceParams(handle_->get());
    ornc_category_t* tests = ORNCParamsGetCategoryByName(params, "RangeTests");
    ASSERT_NE(tests, nullptr);
    EXPECT_EQ(orntest::category_name(tests), "RangeTests");
    ASSERT_GT(ORNCCategoryGetDisplayName(tests, text, sizeof text), 0);
    EXPECT_STREQ(text, "Range Tests");
    EXPECT_EQ(ORNCParamsGetParamInCategory(params, tests, 0), param("TestSelector"));
    EXPECT_EQ(ORNCParamsGetParamInCategory(params, tests, 18), param("RawSpan"));
    EXPECT_EQ(ORNCParamsGetParamInCategory(params, tests, 19), nullptr);
    EXPECT_EQ(ORNCParamsGetParamInCategory(params, tests, -1), nullptr);
    EXPECT_EQ(ORNCParamsGetCategoryByName(params, "NoSuchCategory"), nullptr);
    EXPECT_EQ(ORNCParamsGetParamByName(params, "NoSuchFeature"), nullptr);
}

}  // namespace
