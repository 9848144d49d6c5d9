// The multipart component table built at connect from the sensor's
// selectors, the selector functions, and switching components on and off,
// against the virtual sensor's own GenICam file and variants of it.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ORNC.h"
#include "handles.h"
#include "log_capture.h"
#include "ornsim/components.h"
#include "sensor.h"
#include "temp_dir.h"
#include "test_genicam.h"

namespace {

class Components : public orntest::SensorTest {
protected:
    int enum_value(const ornc_t* ornc, const char* name) {
        int value = -1;
        EXPECT_EQ(ORNCParamGetEnumValue(orntest::device_param(ornc, name), &value), ORNC_OK) << name;
        return value;
    }
};

using Row = std::tuple<int, int, int, std::string, uint32_t, std::string>;

// The handle's component table, one row per record.
std::vector<Row> table(ornc_t* handle) {
    std::vector<Row> rows;
    for (int i = 0; i < ORNCGetComponentCount(handle); ++i) {
        const ornc_component_t* c = ORNCGetComponent(handle, i);
        if (c == nullptr) break;
        rows.emplace_back(c->source, c->region, c->component, c->compname, static_cast<uint32_t>(c->pixelformat),
                          c->pixelname);
    }
    return rows;
}

// A selector getter's status and output, which starts as -1.
std::pair<ornc_status_t, int> selector(ornc_status_t (*getter)(const ornc_t*, int*), ornc_t* handle) {
    int value = -1;
    const ornc_status_t status = getter(handle, &value);
    return {status, value};
}

TEST_F(Components, TheTableHasOneEntryPerComponentAndAvailablePixelFormatAndKeepsTheSelectors) {
    start(orntest::Block::camera, 30, "CP000030");
    orntest::Handle handle;
    EXPECT_EQ(ORNCGetComponentCount(handle.get()), 0);
    ASSERT_EQ(ORNCConnectBySerialNumber(handle.get(), nullptr, "CP000030"), ORNC_OK);
    const std::vector<Row> rows = {{0, 0, 0, "Range", ornsim::kPixelFormatCoord3D_ABC32f, "Coord3D_ABC32f"},
                                   {0, 0, 0, "Range", ornsim::kPixelFormatCoord3D_C16, "Coord3D_C16"},
                                   {0, 0, 1, "Intensity", ornsim::kPixelFormatMono8, "Mono8"},
                                   {0, 0, 2, "Confidence", ornsim::kPixelFormatConfidence8, "Confidence8"}};
    ASSERT_EQ(ORNCGetComponentCount(handle.get()), 4);
    EXPECT_EQ(table(handle.get()), rows);
    EXPECT_EQ(ORNCGetComponent(handle.get(), 4), nullptr);
    EXPECT_EQ(ORNCGetComponent(handle.get(), -1), nullptr);
    EXPECT_EQ(ORNCGetComponent(nullptr, 0), nullptr);

    ornc_component_t* records = nullptr;
    int count = 0;
    ASSERT_EQ(ORNCGetComponentArray(handle.get(), &records, &count), ORNC_OK);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(records, ORNCGetComponent(handle.get(), 0));  // the handle's own table
    EXPECT_EQ(ORNCGetComponentArray(handle.get(), nullptr, nullptr), ORNC_OK);
    EXPECT_EQ(ORNCGetComponentArray(nullptr, &records, &count), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCGetComponentCount(nullptr), 0);

    // A second connect on the same handle appends the components again;
    // discovery leaves the selectors as it found them.
    ASSERT_EQ(ORNCSetComponentSelector(handle.get(), 2), ORNC_OK);
    ASSERT_EQ(ORNCDisconnect(handle.get()), ORNC_OK);
    ASSERT_EQ(ORNCConnectBySerialNumber(handle.get(), nullptr, "CP000030"), ORNC_OK);
    std::vector<Row> twice = rows;
    twice.insert(twice.end(), rows.begin(), rows.end());
    EXPECT_EQ(table(handle.get()), twice);
    EXPECT_EQ(selector(ORNCGetComponentSelector, handle.get()), std::make_pair(ORNC_OK, 2));
    EXPECT_EQ(selector(ORNCGetSourceSelector, handle.get()), std::make_pair(ORNC_OK, 0));
    EXPECT_EQ(selector(ORNCGetRegionSelector, handle.get()), std::make_pair(ORNC_OK, 0));

    // The selector family: a null handle or output is -3; a value no entry
    // has is the device's to refuse.
    EXPECT_EQ(selector(ORNCGetSourceSelector, nullptr).first, ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCGetRegionSelector(handle.get(), nullptr), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCSetComponentSelector(nullptr, 1), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCSetComponentSelector(handle.get(), 9), ORNC_ERR_PARAM_WRITE_FAILED);
    ASSERT_EQ(ORNCSetComponentSelector(handle.get(), 1), ORNC_OK);
    EXPECT_EQ(enum_value(handle.get(), "ComponentSelector"), 1);
}

TEST_F(Components, EnableAndDisableLeaveTheSelectorsOnTheComponent) {
    start(orntest::Block::camera, 32, "CP000032");
    orntest::Handle handle;
    ASSERT_EQ(ORNCConnectBySerialNumber(handle.get(), nullptr, "CP000032"), ORNC_OK);
    ASSERT_EQ(ORNCGetComponentCount(handle.get()), 4);
    const ornc_component_t* abc = ORNCGetComponent(handle.get(), 0);
    const ornc_component_t* c16 = ORNCGetComponent(handle.get(), 1);
    const ornc_component_t* intensity = ORNCGetComponent(handle.get(), 2);
    const ornc_component_t* confidence = ORNCGetComponent(handle.get(), 3);

    {
        orntest::LogCapture log;
        ASSERT_EQ(ORNCComponentEnable(handle.get(), intensity, 1), ORNC_OK);
        EXPECT_EQ(log.count_containing("Enabled component s0 r0 c1 Intensity 0x1080001 Mono8"), 1);
    }
    EXPECT_EQ(enum_value(handle.get(), "ComponentSelector"), 1);
    EXPECT_EQ(ORNCComponentIsEnabled(handle.get(), intensity), 1);
    ASSERT_EQ(ORNCComponentEnable(handle.get(), confidence, 0), ORNC_OK);
    EXPECT_EQ(enum_value(handle.get(), "ComponentSelector"), 2);
    EXPECT_EQ(ORNCComponentIsEnabled(handle.get(), confidence), 0);
    EXPECT_EQ(ORNCComponentIsEnabled(handle.get(), intensity), 1);
    EXPECT_EQ(enum_value(handle.get(), "ComponentSelector"), 1);
    EXPECT_EQ(orntest::value_text(orntest::device_param(handle.get(), "ComponentEnable")), "true");

    // Enabling sets the component's pixel format; disabling leaves it.
    ASSERT_EQ(ORNCComponentEnable(handle.get(), c16, 1), ORNC_OK);
    EXPECT_EQ(static_cast<uint32_t>(enum_value(handle.get(), "PixelFormat")), ornsim::kPixelFormatCoord3D_C16);
    {
        orntest::LogCapture log;
        ASSERT_EQ(ORNCComponentEnable(handle.get(), abc, 0), ORNC_OK);
        EXPECT_EQ(log.count_containing("Disabled component s0 r0 c0 Range 0x26000c0 Coord3D_ABC32f"), 1);
    }
    EXPECT_EQ(enum_value(handle.get(), "ComponentSelector"), 0);
    EXPECT_EQ(static_cast<uint32_t>(enum_value(handle.get(), "PixelFormat")), ornsim::kPixelFormatCoord3D_C16);
    EXPECT_EQ(ORNCComponentIsEnabled(handle.get(), c16), 0);
    ASSERT_EQ(ORNCComponentEnable(handle.get(), abc, 1), ORNC_OK);
    EXPECT_EQ(static_cast<uint32_t>(enum_value(handle.get(), "PixelFormat")), ornsim::kPixelFormatCoord3D_ABC32f);
    EXPECT_EQ(ORNCComponentIsEnabled(handle.get(), c16), 1);

    // A record with a component the device does not have fails at the selector.
    ornc_component_t bogus = *intensity;
    bogus.component = 7;
    EXPECT_EQ(ORNCComponentEnable(handle.get(), &bogus, 1), ORNC_ERR_PARAM_WRITE_FAILED);
    EXPECT_EQ(ORNCComponentIsEnabled(handle.get(), &bogus), 0);
    EXPECT_EQ(ORNCComponentEnable(handle.get(), nullptr, 1), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCComponentIsEnabled(handle.get(), nullptr), 0);

    // The device refusing the enable bit is reported as a failed write (the
    // sensor refuses the register at the feature's base address, which is
    // the Range component's).
    ornsim::FaultSwitches faults;
    faults.refuse_writes_feature = "ComponentEnable";
    sensor_->sensor().set_faults(faults);
    EXPECT_EQ(ORNCComponentEnable(handle.get(), abc, 0), ORNC_ERR_PARAM_WRITE_FAILED);
    sensor_->sensor().set_faults(ornsim::FaultSwitches{});
    EXPECT_EQ(ORNCComponentIsEnabled(handle.get(), abc), 1);
}

TEST_F(Components, ASensorWithoutRegionSelectorFailsConnectButStaysUsable) {
    const ornsim::SensorConfig probe = orntest::sensor_config(orntest::Block::camera, 33, "CP000033");
    start(orntest::Block::camera, 33, "CP000033",
          orntest::rename_feature(orntest::builtin_xml(probe), "RegionSelector", "RegionChooser"));
    orntest::Handle handle;
    {
        orntest::LogCapture log;
        EXPECT_EQ(ORNCConnectBySerialNumber(handle.get(), nullptr, "CP000033"), ORNC_ERR_PARAM_UNDEFINED);
        EXPECT_EQ(log.count_containing("Could not find parameter RegionSelector"), 1);
        EXPECT_EQ(log.count_containing("Number of available components"), 0);
    }
    EXPECT_EQ(ORNCGetComponentCount(handle.get()), 0);
    EXPECT_EQ(selector(ORNCGetRegionSelector, handle.get()).first, ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCSetRegionSelector(handle.get(), 0), ORNC_ERR_UNINITIALIZED);
    // The source selector was found before the missing one.
    EXPECT_EQ(selector(ORNCGetSourceSelector, handle.get()), std::make_pair(ORNC_OK, 0));
    ornc_component_t record{};
    EXPECT_EQ(ORNCComponentEnable(handle.get(), &record, 1), ORNC_ERR_UNINITIALIZED);

    // No roll-back: the device and its parameters stay connected.
    ornc_param_t* width = orntest::device_param(handle.get(), "Width");
    ASSERT_EQ(ORNCParamSetIntegerValue(width, 320), ORNC_OK);
    EXPECT_EQ(orntest::value_text(width), "320");
    ASSERT_EQ(ORNCDumpXML(handle.get(), "renamed.xml"), ORNC_OK);
    EXPECT_NE(orntest::read_file("renamed.xml").find("RegionChooser"), std::string::npos);
    EXPECT_EQ(ORNCDisconnect(handle.get()), ORNC_OK);
}

}  // namespace
