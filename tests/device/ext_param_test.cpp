// 64-bit integers, the strict text form and units of ORNCExt.h on the
// tests' features (test_genicam.h) of a virtual sensor reached over GVCP.
#include <gtest/gtest.h>

#include <string>
#include <vector>

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
    // The strict read in a buffer of `size`, or "<status N>".
    std::string text(const char* name, size_t size = 64) {
        char value[64] = "junk";
        const ornc_status_t status = ORNCParamGetValueText(param(name), value, size);
        return status == ORNC_OK ? value : failed(status) + value;
    }
    static std::string failed(ornc_status_t status) { return "<status " + std::to_string(status) + ">"; }
    orntest::Handle handle_;
};

// Each accepted text in turn, then the strict read; every refused text
// after it leaves that value.
TEST_F(ExtParams, StrictTextTakesWholeValuesOnly) {
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
        EXPECT_EQ(ORNCParamSetValueText(param(c.name), c.written), ORNC_OK) << c.name << " '" << c.written << "'";
        EXPECT_EQ(text(c.name), c.read) << c.name << " after '" << c.written << "'";
        for (const char* refused : c.refused) {
            EXPECT_EQ(ORNCParamSetValueText(param(c.name), refused), ORNC_ERR_PARAM_INVALID_VALUE) << refused;
            EXPECT_EQ(text(c.name), c.read) << c.name << " after '" << refused << "'";
        }
    }
}

TEST_F(ExtParams, TypedCallsAndBadInput) {
    ASSERT_EQ(ORNCParamSetInteger64Value(param("IntFull64"), -INT64_C(0x123456789A)), ORNC_OK);
    EXPECT_EQ(text("IntFull64"), "-78187493530");
    int64_t range[3] = {1, 1, 0};
    ASSERT_EQ(ORNCParamGetInteger64Range(param("IntMinusOneToU32"), &range[0], &range[1], &range[2]), ORNC_OK);
    EXPECT_EQ(std::vector<int64_t>(range, range + 3), (std::vector<int64_t>{-1, INT64_C(4294967295), 1}));
    char unit[8] = "junk";
    EXPECT_EQ(ORNCParamGetUnit(param("TestFloat"), unit, sizeof unit), 3);
    EXPECT_STREQ(unit, "mm");
    EXPECT_EQ(ORNCParamGetUnit(param("TestFloat"), unit, 2) + ORNCParamGetUnit(nullptr, nullptr, 0), 0);
    EXPECT_EQ(ORNCParamGetUnit(param("TestInteger"), unit, sizeof unit), 1);

    ASSERT_EQ(ORNCParamSetValueText(param("IntFull64"), "123456789"), ORNC_OK);
    EXPECT_EQ(text("IntFull64", 9), failed(ORNC_ERR_STRING_TOO_LONG));
    EXPECT_EQ(ORNCParamGetValueText(param("IntFull64"), nullptr, 8), ORNC_ERR_STRING_TOO_LONG);
    EXPECT_EQ(text("TestWriteOnly"), failed(ORNC_ERR_PARAM_NOT_READABLE));
    EXPECT_EQ(text("TestRegister"), failed(ORNC_ERROR));
    EXPECT_EQ(ORNCParamSetValueText(param("TestRegister"), "1"), ORNC_ERROR);
    EXPECT_EQ(ORNCParamSetValueText(nullptr, "1"), ORNC_ERR_PARAM_TYPE_MISMATCH);
    EXPECT_EQ(ORNCParamSetValueText(param("IntFull64"), nullptr), ORNC_ERR_PARAM_INVALID_VALUE);
    EXPECT_EQ(ORNCParamGetInteger64Value(param("IntFull64"), nullptr), ORNC_ERROR);
    EXPECT_EQ(text("IntFull64"), "123456789");
}

}  // namespace
