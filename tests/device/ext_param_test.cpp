// 64-bit integers, the strict text form and units of ORNCExt.h on the
// tests' features (test_genicam.h) of a virtual sensor reached over GVCP.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "ORNCExt.h"
#include "handles.h"
#include "sensor.h"
#include "test_genicam.h"

namespace {

class ExtParams : public orntest::SensorTest {
protected:
    void SetUp() override {
        const ornsim::SensorConfig config = orntest::sensor_config(orntest::Block::camera, 12, "EXT00001");
        start(config, orntest::range_test_xml(config));
        ASSERT_EQ(ORNCConnectBySerialNumber(handle_.get(), nullptr, "EXT00001"), ORNC_OK);
    }
    ornc_param_t* param(const char* name) { return orntest::device_param(handle_.get(), name); }
    std::string text(const char* name) {
        char value[64] = "junk";
        const ornc_status_t status = ORNCParamGetValueText(param(name), value, sizeof value);
        return status == ORNC_OK ? value : "<status " + std::to_string(status) + ">";
    }
    orntest::Handle handle_;
};

TEST_F(ExtParams, Integer64ValuesRangesAndUnits) {
    int64_t value = 0;
    const int64_t big = INT64_C(0x123456789A);
    ASSERT_EQ(ORNCParamSetInteger64Value(param("IntFull64"), -big), ORNC_OK);
    ASSERT_EQ(ORNCParamGetInteger64Value(param("IntFull64"), &value), ORNC_OK);
    EXPECT_EQ(value, -big);
    ASSERT_EQ(ORNCParamSetInteger64Value(param("IntTo2Pow32"), big), ORNC_OK);
    ASSERT_EQ(ORNCParamGetInteger64Value(param("IntTo2Pow32"), &value), ORNC_OK);
    EXPECT_EQ(value, INT64_C(4294967296));
    ASSERT_EQ(ORNCParamSetInteger64Value(param("TestInteger"), INT64_MIN), ORNC_OK);
    EXPECT_EQ(text("TestInteger"), "0");
    int64_t min = 1, max = 1, inc = 0;
    ASSERT_EQ(ORNCParamGetInteger64Range(param("IntMinusOneToU32"), &min, &max, &inc), ORNC_OK);
    EXPECT_EQ(min, -1);
    EXPECT_EQ(max, INT64_C(4294967295));
    EXPECT_EQ(inc, 1);

    char unit[8] = "junk";
    EXPECT_EQ(ORNCParamGetUnit(param("TestFloat"), unit, sizeof unit), 3);
    EXPECT_STREQ(unit, "mm");
    EXPECT_EQ(ORNCParamGetUnit(param("TestFloat"), unit, 2), 0);
    EXPECT_STREQ(unit, "");
    EXPECT_EQ(ORNCParamGetUnit(param("TestInteger"), unit, sizeof unit), 1);
    EXPECT_EQ(ORNCParamGetUnit(nullptr, nullptr, 0), 0);
}

// Each text written in turn: the status, then the strict read of the node.
TEST_F(ExtParams, StrictTextWritesWholeValuesOnly) {
    const struct {
        const char* name;
        const char* written;
        ornc_status_t status;
        const char* read;
    } cases[] = {
        {"IntFull64", " -9223372036854775808 ", ORNC_OK, "-9223372036854775808"},
        {"IntFull64", "0x7fffffffffffffff", ORNC_OK, "9223372036854775807"},
        {"IntFull64", "0xFFFFFFFFFFFFFFFF", ORNC_OK, "-1"},
        {"IntFull64", "0x10000000000000000", ORNC_ERR_PARAM_INVALID_VALUE, "-1"},
        {"IntFull64", "9223372036854775808", ORNC_ERR_PARAM_INVALID_VALUE, "-1"},
        {"IntFull64", "300abc", ORNC_ERR_PARAM_INVALID_VALUE, "-1"},
        {"IntFull64", "1e3", ORNC_ERR_PARAM_INVALID_VALUE, "-1"},
        {"IntFull64", "", ORNC_ERR_PARAM_INVALID_VALUE, "-1"},
        {"IntFull64", "0x", ORNC_ERR_PARAM_INVALID_VALUE, "-1"},
        {"TestInteger", "64", ORNC_OK, "60"},
        {"TestInteger", "5000000000", ORNC_OK, "100"},
        {"TestInteger", "- 5", ORNC_ERR_PARAM_INVALID_VALUE, "100"},
        {"TestFloat", "\t12.5\n", ORNC_OK, "12.5"},
        {"TestFloat", "1e3", ORNC_OK, "100"},
        {"TestFloat", "nan", ORNC_ERR_PARAM_INVALID_VALUE, "100"},
        {"TestFloat", "-inf", ORNC_ERR_PARAM_INVALID_VALUE, "100"},
        {"TestFloat", "1e400", ORNC_ERR_PARAM_INVALID_VALUE, "100"},
        {"TestFloat", "2.5x", ORNC_ERR_PARAM_INVALID_VALUE, "100"},
        {"TestEnum", "Alpha", ORNC_OK, "Alpha"},
        {"TestEnum", " 5 ", ORNC_OK, "Zebra"},
        {"TestEnum", "4", ORNC_ERR_PARAM_INVALID_VALUE, "Zebra"},
        {"TestEnum", "Alphabet", ORNC_ERR_PARAM_INVALID_VALUE, "Zebra"},
        {"TestBoolean", "1", ORNC_OK, "true"},
        {"TestBoolean", "false", ORNC_OK, "false"},
        {"TestBoolean", "10", ORNC_ERR_PARAM_INVALID_VALUE, "false"},
        {"TestBoolean", "True", ORNC_ERR_PARAM_INVALID_VALUE, "false"},
        {"TestString", " padded ", ORNC_OK, " padded "},
        {"TestCommand", "1", ORNC_ERROR, "<status -1>"},
        {"TestRegister", "1", ORNC_ERROR, "<status -1>"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ORNCParamSetValueText(param(c.name), c.written), c.status) << c.name << " '" << c.written << "'";
        EXPECT_EQ(text(c.name), c.read) << c.name << " after '" << c.written << "'";
    }
}

TEST_F(ExtParams, BadInputGivesAStatusAndNoText) {
    char value[8] = "junk";
    ASSERT_EQ(ORNCParamSetValueText(param("IntFull64"), "123456789"), ORNC_OK);
    EXPECT_EQ(ORNCParamGetValueText(param("IntFull64"), value, 9), ORNC_ERR_STRING_TOO_LONG);
    EXPECT_STREQ(value, "");
    EXPECT_EQ(ORNCParamGetValueText(param("IntFull64"), value, 0), ORNC_ERR_STRING_TOO_LONG);
    EXPECT_EQ(ORNCParamGetValueText(param("IntFull64"), nullptr, 8), ORNC_ERR_STRING_TOO_LONG);
    EXPECT_EQ(ORNCParamGetValueText(nullptr, value, sizeof value), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamGetValueText(param("TestWriteOnly"), value, sizeof value), ORNC_ERR_PARAM_NOT_READABLE);
    EXPECT_EQ(ORNCParamSetValueText(nullptr, "1"), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamSetValueText(param("IntFull64"), nullptr), ORNC_ERR_PARAM_INVALID_VALUE);
    EXPECT_EQ(ORNCParamSetValueText(param("TestReadOnly"), "1"), ORNC_ERR_PARAM_NOT_WRITEABLE);
    EXPECT_EQ(ORNCParamGetInteger64Value(param("TestFloat"), nullptr), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamGetInteger64Value(param("IntFull64"), nullptr), ORNC_ERROR);
    EXPECT_EQ(ORNCParamGetInteger64Range(param("TestEnum"), nullptr, nullptr, nullptr), ORNC_ERR_PARAM_WRONG_TYPE);
    EXPECT_EQ(ORNCParamSetInteger64Value(nullptr, 1), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(text("IntFull64"), "123456789");
}

}  // namespace
