// Connecting to the virtual sensor by every key and by device, walking
// and using its three node maps, the description dump and the persistent IP
// settings; the multipart component table built at connect from the
// sensor's selectors, the selector functions, and switching components on
// and off, against the sensor's own GenICam file and variants of it.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>
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

using orntest::value_text;

using Connect = orntest::SensorTest;

TEST_F(Connect, ByEveryKeyAndByDeviceAndFailuresByKeyAndHandle) {
    start(orntest::Block::camera, 20, "CN000020");
    orntest::SystemScope system;
    ASSERT_EQ(ORNCSysFindDevices(&system.sys), ORNC_OK);
    const ornc_device_t* device = ORNCSysGetDeviceBySerialNumber(&system.sys, "CN000020");
    ASSERT_NE(device, nullptr);

    struct Case {
        const char* what;
        std::function<ornc_status_t(const ornc_t*)> connect;
        std::string log_line;
    };
    const std::string address = config_.address;
    const Case cases[] = {
        {"serial", [&](const ornc_t* o) { return ORNCConnectBySerialNumber(o, &system.sys, "CN000020"); },
         "ORNC: Connecting by serial number CN000020"},
        {"pattern", [&](const ornc_t* o) { return ORNCConnectByPattern(o, &system.sys, "Virtual 3D"); },
         "ORNC: Connecting by pattern Virtual 3D"},
        {"empty pattern", [&](const ornc_t* o) { return ORNCConnectByPattern(o, nullptr, nullptr); },
         "ORNC: Connecting by pattern (empty)"},
        {"ip", [&](const ornc_t* o) { return ORNCConnectByIPAddress(o, &system.sys, address.c_str()); },
         "ORNC: Connecting by ip address " + address},
        {"device", [&](const ornc_t* o) { return ORNCConnectByDevice(o, device); }, "ORNC: Connecting to device"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        orntest::Handle handle;
        {
            orntest::LogCapture log;
            ASSERT_EQ(c.connect(handle.get()), ORNC_OK);
            EXPECT_EQ(log.count_containing(c.log_line), 1);
            EXPECT_EQ(log.count_containing("ORNC: Streaming buffers created"), 1);
            EXPECT_EQ(log.count_containing("ORNC: Multipart enabled"), 1);
            EXPECT_EQ(log.count_containing("Number of available components: 4"), 1);
            EXPECT_EQ(log.count_containing("ORNC: --- DEVICE PARAMS -----------------"), 1);
            EXPECT_EQ(log.count_containing("ORNC: --- END COMMUNICATION PARAMS -----------------"), 1);
        }
        // The connection works: the serial number comes from the device.
        EXPECT_EQ(value_text(orntest::device_param(handle.get(), "DeviceSerialNumber")), "CN000020");
        EXPECT_EQ(ORNCDisconnect(handle.get()), ORNC_OK);
    }

    orntest::Handle handle;
    EXPECT_EQ(ORNCConnectBySerialNumber(handle.get(), nullptr, "NOPE"), ORNC_ERR_DEVICE_NOT_FOUND);
    EXPECT_EQ(ORNCConnectByIPAddress(handle.get(), nullptr, orntest::loopback(orntest::Block::camera, 254).c_str()),
              ORNC_ERR_DEVICE_NOT_FOUND);
    EXPECT_EQ(ORNCConnectByPattern(handle.get(), nullptr, "No Such Model"), ORNC_ERR_DEVICE_NOT_FOUND);
    // A null handle is -1 for the key family but -3 by device.
    EXPECT_EQ(ORNCConnectBySerialNumber(nullptr, nullptr, "CN000020"), ORNC_ERROR);
    EXPECT_EQ(ORNCConnectByPattern(nullptr, nullptr, ""), ORNC_ERROR);
    EXPECT_EQ(ORNCConnectByIPAddress(nullptr, nullptr, config_.address.c_str()), ORNC_ERROR);
    EXPECT_EQ(ORNCConnectByDevice(nullptr, nullptr), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCConnectByDevice(handle.get(), nullptr), ORNC_ERR_DEVICE_NOT_FOUND);
    ornc_t uninitialised{nullptr};
    EXPECT_EQ(ORNCConnectBySerialNumber(&uninitialised, nullptr, "CN000020"), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCDisconnect(&uninitialised), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCDisconnect(nullptr), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCGetDeviceParams(&uninitialised), nullptr);
    EXPECT_EQ(ORNCGetDeviceParamsCount(nullptr), 0);

    // Disconnecting a handle that never connected only logs.
    orntest::LogCapture log;
    EXPECT_EQ(ORNCDisconnect(handle.get()), ORNC_OK);
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.count_containing("ORNC: Disconnecting"), 1);
    EXPECT_EQ(log.count_containing("ORNC: Disconnected"), 1);
}

TEST_F(Connect, AModelThatIsNoLongerSupportedIsRefused) {
    config_ = orntest::sensor_config(orntest::Block::camera, 22, "CN000022");
    config_.model = "Other Cam 7";
    sensor_ = std::make_unique<orntest::SensorScope>(config_);
    ASSERT_TRUE(sensor_->ok()) << sensor_->error();
    workdir_.write_model_file("Other Cam\n");
    orntest::SystemScope system;
    ASSERT_EQ(ORNCSysFindDevices(&system.sys), ORNC_OK);
    const ornc_device_t* device = ORNCSysGetDeviceBySerialNumber(&system.sys, "CN000022");
    ASSERT_NE(device, nullptr);
    workdir_.remove_model_file();
    orntest::Handle handle;
    orntest::LogCapture log;
    EXPECT_EQ(ORNCConnectByDevice(handle.get(), device), ORNC_ERR_DEVICE_UNSUPPORTED);
    EXPECT_EQ(log.count_containing("Device Other Cam 7 not supported"), 1);
    EXPECT_EQ(log.count_containing("ORNC: Connecting to device"), 0);
}

// Every parameter of the three node maps is read through its typed
// function and its text form, and every writable one written back with
// the value it had. (Categories and their members: ParamRules.NamesAndAttributes...
// and the tool's params and describe.)
TEST_F(Connect, EveryNodeOfTheThreeMapsIsReadAndWrittenBack) {
    start(orntest::Block::camera, 23, "CN000023");
    orntest::Handle handle;
    ASSERT_EQ(ORNCConnectBySerialNumber(handle.get(), nullptr, "CN000023"), ORNC_OK);
    const struct {
        const char* what;
        ornc_parameters_t* params;
        int count;
    } maps[] = {
        {"device", ORNCGetDeviceParams(handle.get()), ORNCGetDeviceParamsCount(handle.get())},
        {"stream", ORNCGetStreamParams(handle.get()), ORNCGetStreamParamsCount(handle.get())},
        {"communication", ORNCGetCommunicationParams(handle.get()), ORNCGetCommunicationParamsCount(handle.get())}};
    std::set<orn_param_type_t> kinds_seen;
    for (const auto& map : maps) {
        SCOPED_TRACE(map.what);
        ASSERT_NE(map.params, nullptr);
        ASSERT_GT(map.count, 0);
        EXPECT_EQ(ORNCParamsGetParam(map.params, map.count), nullptr);
        EXPECT_EQ(ORNCParamsGetParam(map.params, -1), nullptr);
        for (int i = 0; i < map.count; ++i) {
            ornc_param_t* p = ORNCParamsGetParam(map.params, i);
            ASSERT_NE(p, nullptr) << i;
            const std::string name = orntest::param_name(p);
            SCOPED_TRACE(name);
            ASSERT_FALSE(name.empty());
            EXPECT_EQ(ORNCParamsGetParamByName(map.params, name.c_str()), p);
            const orn_param_type_t kind = ORNCParamGetType(p);
            kinds_seen.insert(kind);
            if (!ORNCParamIsReadable(p)) {
                EXPECT_EQ(value_text(p), "<status -208>");
                continue;
            }
            // Registers, commands and integers without a 32-bit view have no
            // text form, an integer beyond int reads as -6; a float is checked
            // through its typed calls (its text has six decimals). Everything
            // else writable takes its own text back (masked integer registers,
            // which declare no step, included); the text form and the typed
            // calls take one path, as ParamRules shows.
            const std::string text = value_text(p);
            if (text.rfind("<status", 0) == 0) {
                const bool no_text = kind == ORN_PARAM_REGISTER || kind == ORN_PARAM_COMMAND || kind == ORN_PARAM_NONE;
                EXPECT_TRUE(text == "<status -6>" || (no_text && text == "<status -1>")) << text;
            } else if (kind == ORN_PARAM_FLOAT) {
                float v = 0.0f;
                ASSERT_EQ(ORNCParamGetFloatValue(p, &v), ORNC_OK);
                EXPECT_EQ(ORNCParamIsWritable(p) ? ORNCParamSetFloatValue(p, v) : ORNC_OK, ORNC_OK);
            } else if (ORNCParamIsWritable(p)) {
                EXPECT_EQ(ORNCParamSetValue(p, text.c_str()), ORNC_OK);
                EXPECT_EQ(value_text(p), text);
            }
        }
    }
    for (orn_param_type_t kind :
         {ORN_PARAM_INTEGER, ORN_PARAM_FLOAT, ORN_PARAM_BOOLEAN, ORN_PARAM_ENUM, ORN_PARAM_STRING, ORN_PARAM_COMMAND}) {
        EXPECT_EQ(kinds_seen.count(kind), 1u) << kind;
    }

    // Connect switched multipart on for stream channel 0.
    EXPECT_EQ(value_text(orntest::device_param(handle.get(), "GevSCCFGMultiPartEnabled")), "true");
}

TEST_F(Connect, DumpXMLWritesTheDescriptionFile) {
    start(orntest::Block::camera, 24, "CN000024");
    orntest::Handle handle;
    EXPECT_EQ(ORNCDumpXML(handle.get(), "early.xml"), ORNC_ERROR);  // not connected
    ASSERT_EQ(ORNCConnectBySerialNumber(handle.get(), nullptr, "CN000024"), ORNC_OK);
    {
        orntest::LogCapture log;
        ASSERT_EQ(ORNCDumpXML(handle.get(), "device.xml"), ORNC_OK);
        EXPECT_EQ(log.count_containing("ORNC: XML dumped"), 1);
    }
    {
        orntest::LogCapture log;
        EXPECT_EQ(ORNCDumpXML(handle.get(), "no/such/dir/device.xml"), ORNC_ERROR);
        EXPECT_EQ(log.count_containing("ORNC: ORNCDumpXML "), 1);
    }
    EXPECT_EQ(ORNCDumpXML(handle.get(), nullptr), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCDumpXML(nullptr, "x.xml"), ORNC_ERR_UNINITIALIZED);
}

unsigned int read_uint(const ornc_t* ornc, const char* name) {
    unsigned int value = 0;
    EXPECT_EQ(ORNCParamGetUIntegerValue(orntest::device_param(ornc, name), &value), ORNC_OK) << name;
    return value;
}

// The persistent address, mask and gateway on the device.
std::vector<unsigned> persistent(const ornc_t* ornc) {
    return {read_uint(ornc, "GevPersistentIPAddress"), read_uint(ornc, "GevPersistentSubnetMask"),
            read_uint(ornc, "GevPersistentDefaultGateway")};
}

TEST_F(Connect, PersistentIPIsWrittenInOrderAndKeptOnFailure) {
    start(orntest::Block::camera, 25, "CN000025");
    orntest::Handle handle;
    EXPECT_EQ(ORNCIPMakePersistent(nullptr, "1.2.3.4", "255.0.0.0", "1.0.0.1", 1), ORNC_ERR_DEVICE_NOT_CONNECTED);
    ASSERT_EQ(ORNCConnectBySerialNumber(handle.get(), nullptr, "CN000025"), ORNC_OK);
    {
        orntest::LogCapture log;
        ASSERT_EQ(ORNCIPMakePersistent(handle.get(), "169.254.10.20", "255.255.0.0", "169.254.0.1", 1), ORNC_OK);
        EXPECT_EQ(log.count_containing("ORNC: Making IP persistent"), 1);
        EXPECT_EQ(log.count_containing("ORNC: Made IP persistent"), 1);
    }
    EXPECT_EQ(persistent(handle.get()), (std::vector<unsigned>{0xA9FE0A14u, 0xFFFF0000u, 0xA9FE0001u}));

    // A refused mask write stops there: the address before it stays.
    sensor_->sensor().set_faults({0.0, "GevPersistentSubnetMask"});  // its writes refused
    EXPECT_EQ(ORNCIPMakePersistent(handle.get(), "169.254.30.40", "255.255.255.0", "169.254.30.1", 0),
              ORNC_ERR_PARAM_WRITE_FAILED);
    sensor_->sensor().set_faults(ornsim::FaultSwitches{});
    EXPECT_EQ(persistent(handle.get()), (std::vector<unsigned>{0xA9FE1E28u, 0xFFFF0000u, 0xA9FE0001u}));
    // A text that is no address is a failed write too.
    EXPECT_EQ(ORNCIPMakePersistent(handle.get(), "not an address", "255.0.0.0", "1.0.0.1", 0),
              ORNC_ERR_PARAM_WRITE_FAILED);
}

TEST_F(Connect, PersistentIPNeedsAllFourFeatures) {
    const ornsim::SensorConfig probe = orntest::sensor_config(orntest::Block::camera, 26, "CN000026");
    start(orntest::Block::camera, 26, "CN000026",
          orntest::rename_feature(orntest::builtin_xml(probe), "GevPersistentDefaultGateway", "GevGateway"));
    orntest::Handle handle;
    ASSERT_EQ(ORNCConnectBySerialNumber(handle.get(), nullptr, "CN000026"), ORNC_OK);
    const unsigned int address_before = read_uint(handle.get(), "GevPersistentIPAddress");
    EXPECT_EQ(ORNCIPMakePersistent(handle.get(), "169.254.10.20", "255.255.0.0", "169.254.0.1", 1), ORNC_ERR_INTERNAL);
    EXPECT_EQ(read_uint(handle.get(), "GevPersistentIPAddress"), address_before);
    EXPECT_NE(address_before, 0xA9FE0A14u);
}

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
    sensor_->sensor().set_faults({0.0, "ComponentEnable"});  // its writes refused
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
