// The value rules of the parameter API (and the 64-bit, strict text and unit
// calls of ORNCExt.h) on real nodes of a real device: the virtual sensor
// runs its built-in GenICam file with the tests' features (test_genicam.h)
// in its plain memory (step rounding, clamping, 32-bit views, 64-bit ranges,
// read-only and write-only nodes, registers, strings, enumerations,
// booleans, commands, selectors), reached over GVCP on loopback.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ORNC.h"
#include "ORNCExt.h"
#include "handles.h"
#include "log_capture.h"
#include "sensor.h"
#include "test_genicam.h"

namespace {

using Int = std::pair<ornc_status_t, int>;
using UInt = std::pair<ornc_status_t, unsigned int>;
using Text = std::pair<ornc_status_t, std::string>;
using orntest::device_param;
using orntest::value_text;

constexpr const char* kSerial = "RT000001";

// A name or text getter's count and its text in a buffer of `size` that held "junk".
std::pair<int, std::string> named(int (*getter)(const ornc_param_t*, char*, int), const ornc_param_t* p, int size) {
    char text[64] = "junk";
    const int count = getter(p, text, size);
    return {count, text};
}

class ParamRules : public orntest::SensorTest {
protected:
    void SetUp() override {
        const ornsim::SensorConfig config = orntest::sensor_config(orntest::Block::camera, 10, kSerial);
        start(config, orntest::range_test_xml(config));
        ASSERT_EQ(ORNCConnectBySerialNumber(handle_.get(), nullptr, kSerial), ORNC_OK);
    }
    ornc_param_t* param(const char* name) { return device_param(handle_.get(), name); }

    int64_t read_int(const char* name) {
        int value = -12345;
        EXPECT_EQ(ORNCParamGetIntegerValue(param(name), &value), ORNC_OK) << name;
        return value;
    }
    // A typed getter's status and its output, which starts as `unset`.
    template <typename T>
    std::pair<ornc_status_t, T> got(ornc_status_t (*getter)(const ornc_param_t*, T*), const char* name, T unset) {
        T value = unset;
        const ornc_status_t status = getter(param(name), &value);
        return {status, value};
    }
    template <typename T>
    using Range = std::tuple<ornc_status_t, T, T, unsigned int>;
    // A range getter's status and outputs, which start as 7.
    template <typename T>
    Range<T> range(ornc_status_t (*getter)(const ornc_param_t*, T*, T*, unsigned int*), const char* name) {
        T min = 7;
        T max = 7;
        unsigned int inc = 7;
        const ornc_status_t status = getter(param(name), &min, &max, &inc);
        return {status, min, max, inc};
    }
    // ORNCParamGetValue's (or `getter`'s) status and text in a buffer of `size` that held "junk".
    Text text_in(const char* name, size_t size, decltype(&ORNCParamGetValue) getter = ORNCParamGetValue) {
        char text[64] = "junk";
        const ornc_status_t status = getter(param(name), text, size);
        return {status, text};
    }
    // The strict text read of ORNCExt.h.
    Text strict(const char* name, size_t size = 64) { return text_in(name, size, ORNCParamGetValueText); }
    orntest::Handle handle_;
};

TEST_F(ParamRules, IntegerWritesAreRoundedToTheStepAndClamped) {
    // TestInteger: 0..100 step 10. IntStep4: on a grid from 1, where 99 rounds
    // to 101 and is clamped to 100, off the grid. Selector: step 1, only clamped.
    const struct {
        const char* name;
        long long written;  // beyond int: through the unsigned setter
        int stored;
    } cases[] = {{"TestInteger", 14, 10},   {"TestInteger", 15, 20}, {"TestInteger", 95, 100},
                 {"TestInteger", 250, 100}, {"TestInteger", -7, 0},  {"TestInteger", 40, 40},
                 {"IntStep4", 99, 100},     {"IntStep4", 50, 49},    {"IntStep4", 4000000000, 100},
                 {"Selector", 2, 2},        {"Selector", 9, 3}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " " + std::to_string(c.written));
        ASSERT_EQ(c.written > INT32_MAX ? ORNCParamSetUIntegerValue(param(c.name), static_cast<unsigned>(c.written))
                                        : ORNCParamSetIntegerValue(param(c.name), static_cast<int>(c.written)),
                  ORNC_OK);
        EXPECT_EQ(read_int(c.name), c.stored);
    }
    // The text form takes the same path.
    ornc_param_t* step10 = param("TestInteger");
    ASSERT_EQ(ORNCParamSetValue(step10, "64"), ORNC_OK);
    EXPECT_EQ(value_text(step10), "60");
    EXPECT_EQ(ORNCParamSetValue(step10, "sixty"), ORNC_ERR_PARAM_INVALID_VALUE);
    EXPECT_EQ(value_text(step10), "60");
}

// Integers take the kind of the 32-bit view their range fits, or none; an
// unreadable one (TestWriteOnly, 32-bit unsigned) is an integer.
TEST_F(ParamRules, KindsAndIntegerRangeGettersFollowThe32BitViews) {
    const std::pair<const char*, orn_param_type_t> kinds[] = {
        {"TestInteger", ORN_PARAM_INTEGER},    {"TestWide", ORN_PARAM_UINTEGER},  {"IntMinusOneToU32", ORN_PARAM_NONE},
        {"IntFull64", ORN_PARAM_INTEGER},      {"IntTo2Pow32", ORN_PARAM_NONE},   {"TestWriteOnly", ORN_PARAM_INTEGER},
        {"RawSpan", ORN_PARAM_REGISTER},       {"TestFloat", ORN_PARAM_FLOAT},    {"TestString", ORN_PARAM_STRING},
        {"TestBoolean", ORN_PARAM_BOOLEAN},    {"TestEnum", ORN_PARAM_ENUM},      {"TestCommand", ORN_PARAM_COMMAND},
        {"TestIntegerReg", ORN_PARAM_INTEGER}, {"TestFloatReg", ORN_PARAM_FLOAT}, {"TestStructLow", ORN_PARAM_INTEGER}};
    for (const auto& kind : kinds) EXPECT_EQ(ORNCParamGetType(param(kind.first)), kind.second) << kind.first;
    EXPECT_EQ(ORNCParamGetType(nullptr), ORN_PARAM_NONE);

    // The full 64-bit range (also a formula's, which declares none: PlatformNodeMap)
    // counts as signed: its ends are cut, not clamped.
    EXPECT_EQ(range(ORNCParamGetIntegerMinMaxIncValues, "TestInteger"), Range<int>(ORNC_OK, 0, 100, 10));
    EXPECT_EQ(range(ORNCParamGetIntegerMinMaxIncValues, "IntFull64"), Range<int>(ORNC_OK, 0, -1, 1));
    EXPECT_EQ(range(ORNCParamGetUIntegerMinMaxIncValues, "TestWide"), Range<unsigned>(ORNC_OK, 0, 4294967295u, 1));
    EXPECT_EQ(got(ORNCParamGetIntegerIncValue, "IntStep4", 0u), UInt(ORNC_OK, 4));
    // A range with no view of that sign leaves the outputs as they were.
    EXPECT_EQ(got(ORNCParamGetIntegerMinValue, "TestWide", 7), Int(ORNC_ERR_PARAM_TYPE_MISMATCH, 7));
    EXPECT_EQ(got(ORNCParamGetUIntegerMaxValue, "TestInteger", 7u), UInt(ORNC_ERR_PARAM_TYPE_MISMATCH, 7));
    EXPECT_EQ(got(ORNCParamGetUIntegerMinValue, "IntMinusOneToU32", 7u), UInt(ORNC_ERR_PARAM_TYPE_MISMATCH, 7));

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
    ASSERT_EQ(ORNCParamSetRegisterValue(param("RawSpan"), reinterpret_cast<const char*>(raw), sizeof raw), ORNC_OK);
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
    float range[2] = {-1.0f, -1.0f};
    ASSERT_EQ(ORNCParamGetFloatMinMaxValues(f, &range[0], &range[1]), ORNC_OK);
    EXPECT_EQ(std::vector<float>(range, range + 2), (std::vector<float>{0.0f, 100.0f}));
    ASSERT_EQ(ORNCParamSetFloatValue(f, 1e9f), ORNC_OK);
    EXPECT_EQ(got(ORNCParamGetFloatValue, "TestFloat", -1.0f), std::make_pair(ORNC_OK, 100.0f));
    ASSERT_EQ(ORNCParamSetFloatValue(f, -3.0f), ORNC_OK);
    EXPECT_EQ(got(ORNCParamGetFloatValue, "TestFloat", -1.0f), std::make_pair(ORNC_OK, 0.0f));

    ASSERT_EQ(ORNCParamSetValue(f, "2.5"), ORNC_OK);
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
    ornc_param_t* wo = param("TestWriteOnly");
    EXPECT_EQ(std::vector<int>(
                  {ORNCParamIsReadable(ro), ORNCParamIsWritable(ro), ORNCParamIsReadable(wo), ORNCParamIsWritable(wo)}),
              std::vector<int>({1, 0, 0, 1}));
    const uint64_t commands_before = sensor().counters().gvcp_commands;
    EXPECT_EQ(ORNCParamSetIntegerValue(ro, 5), ORNC_ERR_PARAM_NOT_WRITEABLE);
    EXPECT_EQ(ORNCParamSetValue(ro, "5"), ORNC_ERR_PARAM_NOT_WRITEABLE);
    EXPECT_EQ(ORNCParamSetFloatValue(ro, 1.0f), ORNC_ERR_PARAM_NOT_WRITEABLE);
    EXPECT_EQ(ORNCParamSetStringValue(param("DeviceModelName"), "x"), ORNC_ERR_PARAM_NOT_WRITEABLE);
    EXPECT_EQ(sensor().counters().gvcp_commands, commands_before);
    EXPECT_EQ(value_text(ro), "0");

    EXPECT_EQ(got(ORNCParamGetIntegerValue, "TestWriteOnly", 3), Int(ORNC_ERR_PARAM_NOT_READABLE, 3));
    EXPECT_EQ(text_in("TestWriteOnly", 16), Text(ORNC_ERR_PARAM_NOT_READABLE, ""));
    EXPECT_EQ(ORNCParamSetIntegerValue(wo, 500), ORNC_OK);
    EXPECT_EQ(ORNCParamSetValue(wo, "600"), ORNC_OK);
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
    EXPECT_EQ(got(ORNCParamGetStringMaxSize, "TestString", 0), Int(ORNC_OK, 16));
    // The text form of a string is cut the same way, and still succeeds.
    EXPECT_EQ(text_in("TestString", 4), Text(ORNC_OK, "Sen"));
    ASSERT_EQ(ORNCParamSetValue(s, "abc"), ORNC_OK);
    EXPECT_EQ(value_text(s), "abc");
    EXPECT_EQ(ORNCParamGetStringSize(param("TestInteger")), 0);
    EXPECT_EQ(got(ORNCParamGetStringMaxSize, "TestInteger", 0).first, ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamGetStringValue(param("TestInteger"), text, sizeof text), ORNC_ERR_PARAM_TYPE_MISMATCH);

    ornc_param_t* reg = param("TestRegister");
    const char raw[8] = {'\x01', '\x00', '\x7f', '\x80', '\xff', 'A', 'B', '\x00'};
    ASSERT_EQ(ORNCParamSetRegisterValue(reg, raw, sizeof raw), ORNC_OK);
    char back[8] = {};
    ASSERT_EQ(ORNCParamGetRegisterValue(reg, back, sizeof back), ORNC_OK);
    EXPECT_EQ(std::memcmp(raw, back, sizeof raw), 0);
    // Only the register's whole length is written; a shorter read stops at its size.
    EXPECT_EQ(ORNCParamSetRegisterValue(reg, raw, 4), ORNC_ERR_PARAM_WRITE_FAILED);
    char head[4] = {0, 0, 0, 'z'};
    ASSERT_EQ(ORNCParamGetRegisterValue(reg, head, 3), ORNC_OK);
    EXPECT_EQ(std::string(head, 4), std::string("\x01\x00\x7fz", 4));
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

// Entry names and texts in a buffer of `size`.
Text entry_text(ornc_status_t (*getter)(const ornc_param_t*, int, char*, int), ornc_param_t* e, int nr, int size) {
    char text[32] = "junk";
    const ornc_status_t status = getter(e, nr, text, size);
    return {status, text};
}

TEST_F(ParamRules, EnumerationsAreReadAndWrittenByTheirNumbers) {
    // Entries by index, in document order: name, display name, value and
    // whether it is available ("Mid" only while TestBoolean is set).
    ornc_param_t* e = param("TestEnum");
    using Entry = std::tuple<std::string, std::string, int, orn_bool_t>;
    const auto entries = [&] {
        std::vector<Entry> all;
        for (int nr = 0; nr < 3; ++nr) {
            int value = -1;
            orn_bool_t available = -1;
            EXPECT_EQ(ORNCParamGetEnumEntryValue(e, nr, &value), ORNC_OK);
            EXPECT_EQ(ORNCParamGetEnumEntryAvailable(e, nr, &available), ORNC_OK);
            all.emplace_back(entry_text(ORNCParamGetEnumEntryName, e, nr, 32).second,
                             entry_text(ORNCParamGetEnumEntryDisplayName, e, nr, 32).second, value, available);
        }
        return all;
    };
    EXPECT_EQ(got(ORNCParamGetEnumEntryCount, "TestEnum", 0), Int(ORNC_OK, 3));
    EXPECT_EQ(entries(),
              (std::vector<Entry>{{"Zebra", "Zebra", 5, 1}, {"Alpha", "First Letter", 1, 1}, {"Mid", "Mid", 3, 0}}));
    int value = 0;
    EXPECT_EQ(ORNCParamGetEnumEntryValue(e, 3, &value), ORNC_ERROR);
    EXPECT_EQ(entry_text(ORNCParamGetEnumEntryName, e, 1, 4), Text(ORNC_OK, "Alp"));
    EXPECT_EQ(entry_text(ORNCParamGetEnumEntryName, e, -1, 32).first, ORNC_ERROR);

    ASSERT_EQ(ORNCParamSetBooleanValue(param("TestBoolean"), 1), ORNC_OK);
    EXPECT_EQ(std::get<3>(entries()[2]), 1) << "Mid (3) is available";
    ASSERT_EQ(ORNCParamSetValue(e, "3"), ORNC_OK);
    EXPECT_EQ(got(ORNCParamGetEnumValue, "TestEnum", 0), Int(ORNC_OK, 3));
    EXPECT_EQ(ORNCParamSetValue(e, "Alpha"), ORNC_ERR_PARAM_INVALID_VALUE);
    ASSERT_EQ(ORNCParamSetEnumValueByName(e, "Alpha"), ORNC_OK);
    EXPECT_EQ(value_text(e), "1");
    EXPECT_EQ(ORNCParamSetEnumValueByName(e, "alpha"), ORNC_ERR_ENUM_ENTRY_NOT_FOUND);  // names are exact
    ASSERT_EQ(ORNCParamSetEnumValue(e, 5), ORNC_OK);
    // A number no entry has is the node's to refuse.
    EXPECT_EQ(ORNCParamSetEnumValue(e, 42), ORNC_ERR_PARAM_WRITE_FAILED);
    EXPECT_EQ(value_text(e), "5");

    EXPECT_EQ(ORNCParamSetEnumValue(param("TestInteger"), 1), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(got(ORNCParamGetEnumEntryCount, "TestInteger", 0).first, ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(got(ORNCParamGetEnumValue, "TestInteger", 0).first, ORNC_ERR_PARAM_TYPE_MISMATCH);
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

    sensor().set_faults({0.0, "TestCommand"});  // its writes refused
    EXPECT_EQ(ORNCParamSendCommand(c), ORNC_OK);
    sensor().set_faults(ornsim::FaultSwitches{});
}

TEST_F(ParamRules, RefusedWritesAreReportedAndLogged) {
    ornc_param_t* p = param("TestInteger");
    ASSERT_EQ(ORNCParamSetIntegerValue(p, 30), ORNC_OK);
    sensor().set_faults({0.0, "TestInteger"});  // its writes refused
    {
        orntest::LogCapture log;
        EXPECT_EQ(ORNCParamSetIntegerValue(p, 70), ORNC_ERR_PARAM_WRITE_FAILED);
        EXPECT_EQ(ORNCParamSetValue(p, "80"), ORNC_ERR_PARAM_WRITE_FAILED);
        EXPECT_EQ(log.count_containing("ORNC: Parameter TestInteger write failed code "), 2);
    }
    sensor().set_faults(ornsim::FaultSwitches{});
    EXPECT_EQ(read_int("TestInteger"), 30);
    EXPECT_EQ(ORNCParamSetIntegerValue(p, 70), ORNC_OK);
    EXPECT_EQ(read_int("TestInteger"), 70);
}

// A parameter's callback hears of a write through it and through every
// parameter its value depends on (formulas, invalidators, bounds,
// selectors, transitively), and of nothing else; a second registration
// adds a callback, and a refused write tells nobody.
TEST_F(ParamRules, CallbacksHearOfWhatTheirValueDependsOn) {
    using Counts = std::map<std::string, int>;  // calls by parameter name
    Counts heard;
    const auto count = [](ornc_param_t* p, void* counts) { ++(*static_cast<Counts*>(counts))[orntest::param_name(p)]; };
    for (const char* name : {"Source", "Doubled", "Quadrupled", "Cached", "Bounded", "Indexed", "Unrelated",
                             "ComponentEnable", "PixelFormat", "Width", "Unrelated"}) {
        ASSERT_EQ(ORNCParamSetCallback(param(name), count, &heard), ORNC_OK) << name;
    }
    EXPECT_EQ(ORNCParamSetCallback(nullptr, count, &heard), ORNC_ERROR);
    EXPECT_EQ(ORNCGetParameterListCount(nullptr), 0);  // an event's data list, when it has none
    EXPECT_EQ(ORNCGetParameterListIndex(nullptr, 0), nullptr);
    const auto take = [&heard] { return std::exchange(heard, Counts{}); };
    ASSERT_EQ(ORNCParamSetIntegerValue(param("Source"), 21), ORNC_OK);
    EXPECT_EQ(take(), (Counts{{"Source", 1}, {"Doubled", 1}, {"Quadrupled", 1}, {"Cached", 1}, {"Bounded", 1}}));
    EXPECT_EQ(read_int("Quadrupled"), 84);
    ASSERT_EQ(ORNCParamSetIntegerValue(param("Selector"), 2), ORNC_OK);
    EXPECT_EQ(take(), (Counts{{"Indexed", 1}})) << "the selector's own callback is not registered";
    ASSERT_EQ(ORNCParamSetValue(param("Unrelated"), "5"), ORNC_OK);
    EXPECT_EQ(take(), (Counts{{"Unrelated", 2}})) << "registered twice";
    sensor().set_faults({0.0, "Source"});  // its writes refused
    EXPECT_EQ(ORNCParamSetIntegerValue(param("Source"), 3), ORNC_ERR_PARAM_WRITE_FAILED);
    sensor().set_faults(ornsim::FaultSwitches{});
    EXPECT_EQ(take(), Counts{});
    // The component features hear of their selector; the width does not depend on it.
    ASSERT_EQ(ORNCParamSetEnumValueByName(param("ComponentSelector"), "Intensity"), ORNC_OK);
    EXPECT_EQ(take(), (Counts{{"ComponentEnable", 1}, {"PixelFormat", 1}}));
}

TEST_F(ParamRules, SelectorsKnowWhatTheySelect) {
    ornc_param_t* selector = param("Selector");
    ornc_param_t* selected = param("Indexed");
    EXPECT_EQ(
        std::vector<int>({ORNCParamIsSelector(selector), ORNCParamIsSelected(selected), ORNCParamIsSelected(selector),
                          ORNCParamGetSelectingRange(selector), ORNCParamGetSelectingRange(selected),
                          ORNCParamGetSelectingRange(param("ComponentSelector"))}),
        std::vector<int>({1, 1, 0, 4, 0, 3}));
    EXPECT_EQ(
        std::vector<ornc_param_t*>({ORNCParamGetSelectedIndex(selector, 1), ORNCParamGetSelectedIndex(selector, -1)}),
        std::vector<ornc_param_t*>(2, nullptr));

    // Each selector value addresses its own register.
    for (int i : {1, 2}) {
        ASSERT_EQ(ORNCParamSetIntegerValue(selector, i), ORNC_OK);
        ASSERT_EQ(ORNCParamSetIntegerValue(selected, 111 * i), ORNC_OK);
    }
    ASSERT_EQ(ORNCParamSetIntegerValue(selector, 1), ORNC_OK);
    EXPECT_EQ(value_text(selected), "111");
    // What a selector selects comes in document order, not in the order it
    // names them; each selected feature knows its selector.
    ornc_param_t* listing = param("TestSelector");
    EXPECT_EQ(std::vector<ornc_param_t*>({ORNCParamGetSelectedIndex(listing, 0), ORNCParamGetSelectedIndex(listing, 1),
                                          ORNCParamGetSelectingIndex(param("TestSelectedB"), 0)}),
              std::vector<ornc_param_t*>({param("TestSelectedA"), param("TestSelectedB"), listing}));

    // The stream channel selector of the built-in file selects 8 features;
    // a short array is filled with nulls up to its length.
    ornc_param_t* channel = param("GevStreamChannelSelector");
    ornc_param_t* arr[10];
    for (ornc_param_t*& p : arr) p = selector;
    EXPECT_EQ(ORNCParamGetSelectedArray(channel, arr, 3), -1);
    EXPECT_EQ(std::vector<ornc_param_t*>(arr, arr + 4),
              std::vector<ornc_param_t*>({nullptr, nullptr, nullptr, selector}));
    EXPECT_EQ(ORNCParamGetSelectedArray(channel, arr, 10), 8);
    EXPECT_EQ(orntest::param_name(arr[0]), "GevSCPHostPort");
    EXPECT_EQ(orntest::param_name(arr[7]), "GevSCCFGMultiPartEnabled");
    EXPECT_EQ(arr[8], selector);
    EXPECT_EQ(std::vector<int>(
                  {ORNCParamGetSelectedArray(channel, nullptr, 0), ORNCParamGetSelectedArray(selected, nullptr, 0),
                   ORNCParamGetSelectedArray(channel, arr, 0), ORNCParamGetSelectedArray(channel, nullptr, 4),
                   ORNCParamGetSelectingArray(selected, arr, -1), ORNCParamGetSelectingArray(selected, arr, 1)}),
              std::vector<int>({-1, 0, -2, -2, -2, 1}));
    EXPECT_EQ(arr[0], selector);
}

TEST_F(ParamRules, NamesAndAttributesComeFromTheDescriptionFile) {
    ornc_param_t* width = param("Width");
    EXPECT_EQ(named(ORNCParamGetName, width, 6), std::make_pair(6, std::string("Width")));
    EXPECT_EQ(named(ORNCParamGetDisplayName, param("TestInteger"), 64).second, "Test Integer");

    EXPECT_EQ(std::vector<orn_param_visibility_t>(
                  {ORNCParamGetVisibility(width), ORNCParamGetVisibility(param("SensorWidth")),
                   ORNCParamGetVisibility(param("GevVersionMajor")), ORNCParamGetVisibility(param("WidthReg"))}),
              std::vector<orn_param_visibility_t>({ORN_VIS_BEGINNER, ORN_VIS_EXPERT, ORN_VIS_GURU, ORN_VIS_INVISIBLE}));
    // Whatever audience is asked about, a node answers for the widest one.
    for (const char* name : {"Width", "GevVersionMajor", "WidthReg"}) {
        EXPECT_EQ(ORNCParamIsVisible(param(name), ORN_VIS_BEGINNER) + ORNCParamIsVisible(param(name), ORN_VIS_GURU), 2)
            << name;
    }
    EXPECT_EQ(std::vector<int>({ORNCParamIsAvailable(width), ORNCParamIsCached(param("TestInteger")),
                                ORNCParamIsCached(param("TestReadOnly"))}),
              std::vector<int>({1, 1, 0}));

    // Category membership accepts the path with and without the root.
    ornc_parameters_t* params = ORNCGetDeviceParams(handle_.get());
    ornc_category_t* tests = ORNCParamsGetCategoryByName(params, "RangeTests");
    ASSERT_NE(tests, nullptr);
    EXPECT_EQ(orntest::category_name(tests), "RangeTests");
    EXPECT_EQ(std::vector<ornc_param_t*>(
                  {ORNCParamsGetParamInCategory(params, tests, 0), ORNCParamsGetParamInCategory(params, tests, 18),
                   ORNCParamsGetParamInCategory(params, tests, 19), ORNCParamsGetParamInCategory(params, tests, -1)}),
              std::vector<ornc_param_t*>({param("TestSelector"), param("RawSpan"), nullptr, nullptr}));
    EXPECT_EQ(ORNCParamsGetCategoryByName(params, "NoSuchCategory"), nullptr);
    EXPECT_EQ(ORNCParamsGetParamByName(params, "NoSuchFeature"), nullptr);
}

// ORNCExt.h: each accepted strict text in turn, then the strict read; every
// refused text after it leaves that value.
TEST_F(ParamRules, StrictTextTakesWholeValuesOnly) {
    const struct {
        const char* name;
        const char* written;
        const char* read;
        std::vector<const char*> refused;
    } cases[] = {
        {"IntFull64", " -9223372036854775808 ", "-9223372036854775808", {}},
        {"IntFull64", "0xFFFFFFFFFFFFFFFF", "-1", {"0x10000000000000000", "9223372036854775808", "300abc", "1e3"}},
        {"IntFull64", "0x7", "7", {"", "0x", "- 5", "-0x1", "0x-1"}},
        {"TestInteger", "64", "60", {}},
        {"IntStep4", "50", "49", {}},
        {"IntTo2Pow32", "0x123456789A", "4294967296", {}},
        {"TestFloat", "\t1.25e1\n", "12.5", {"nan", "-inf", "1e400", "2.5x"}},
        {"TestEnum", "Alpha", "Alpha", {}},
        {"TestEnum", " 5 ", "Zebra", {"4", "Alphabet"}},
        {"TestBoolean", "1", "true", {}},
        {"TestBoolean", "false", "false", {"10", "True"}},
        {"TestString", " padded ", " padded ", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " '" + c.written + "'");
        EXPECT_EQ(ORNCParamSetValueText(param(c.name), c.written), ORNC_OK);
        EXPECT_EQ(strict(c.name), Text(ORNC_OK, c.read));
        for (const char* refused : c.refused) {
            EXPECT_EQ(ORNCParamSetValueText(param(c.name), refused), ORNC_ERR_PARAM_INVALID_VALUE) << refused;
            EXPECT_EQ(strict(c.name), Text(ORNC_OK, c.read)) << refused;
        }
    }
}

TEST_F(ParamRules, ExtTypedCallsAndBadInput) {
    ASSERT_EQ(ORNCParamSetInteger64Value(param("IntFull64"), -INT64_C(0x123456789A)), ORNC_OK);
    EXPECT_EQ(strict("IntFull64"), Text(ORNC_OK, "-78187493530"));
    int64_t range[3] = {1, 1, 0};
    ASSERT_EQ(ORNCParamGetInteger64Range(param("IntMinusOneToU32"), &range[0], &range[1], &range[2]), ORNC_OK);
    EXPECT_EQ(std::vector<int64_t>(range, range + 3), (std::vector<int64_t>{-1, INT64_C(4294967295), 1}));
    EXPECT_EQ(named(ORNCParamGetUnit, param("TestFloat"), 8), std::make_pair(3, std::string("mm")));
    EXPECT_EQ(named(ORNCParamGetUnit, param("TestFloat"), 2).first + ORNCParamGetUnit(nullptr, nullptr, 0), 0);
    EXPECT_EQ(named(ORNCParamGetUnit, param("TestInteger"), 8).first, 1);

    ASSERT_EQ(ORNCParamSetValueText(param("IntFull64"), "123456789"), ORNC_OK);
    EXPECT_EQ(strict("IntFull64", 9), Text(ORNC_ERR_STRING_TOO_LONG, ""));
    EXPECT_EQ(ORNCParamGetValueText(param("IntFull64"), nullptr, 8), ORNC_ERR_STRING_TOO_LONG);
    EXPECT_EQ(strict("TestWriteOnly"), Text(ORNC_ERR_PARAM_NOT_READABLE, ""));
    EXPECT_EQ(strict("TestRegister"), Text(ORNC_ERROR, ""));
    EXPECT_EQ(ORNCParamSetValueText(param("TestRegister"), "1"), ORNC_ERROR);
    EXPECT_EQ(ORNCParamSetValueText(nullptr, "1"), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamSetValueText(param("IntFull64"), nullptr), ORNC_ERR_PARAM_INVALID_VALUE);
    EXPECT_EQ(ORNCParamGetInteger64Value(param("IntFull64"), nullptr), ORNC_ERROR);
    EXPECT_EQ(strict("IntFull64"), Text(ORNC_OK, "123456789"));
}

}  // namespace
