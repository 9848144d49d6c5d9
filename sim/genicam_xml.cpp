#include "genicam_xml.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "device_registers.h"
#include "ornsim/components.h"
#include "wire/gvcp_layout.h"

namespace ornsim {
namespace {

std::string hex(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
    return text;
}

std::string escape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

// GenICam names must be C identifiers.
std::string c_name(const std::string& text) {
    std::string out;
    for (char c : text) {
        bool alnum = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        out += alnum ? c : '_';
    }
    if (out.empty() || !((out[0] >= 'A' && out[0] <= 'Z') || (out[0] >= 'a' && out[0] <= 'z'))) out = "D" + out;
    return out;
}

// Presentation of a public feature.
struct Doc {
    const char* display;
    const char* tooltip;
    const char* visibility;  // Beginner, Expert, Guru, Invisible
};

struct Entry {
    const char* name;
    uint64_t value;
    const char* display;
    const char* available;  // pIsAvailable node or nullptr
};

class Writer {
public:
    std::string text;

    void line(const std::string& s) { text += "  " + s + "\n"; }

    void begin(const char* tag, const std::string& name, bool standard, const Doc* doc) {
        text += "  <" + std::string(tag) + " Name=\"" + name + "\" NameSpace=\"" + (standard ? "Standard" : "Custom") +
                "\">\n";
        if (doc != nullptr) {
            field("ToolTip", doc->tooltip);
            field("DisplayName", doc->display);
            field("Visibility", doc->visibility);
        } else {
            field("Visibility", "Invisible");
        }
    }
    void end(const char* tag) { text += "  </" + std::string(tag) + ">\n\n"; }
    void field(const char* tag, const std::string& value) {
        text += "    <" + std::string(tag) + ">" + escape(value) + "</" + std::string(tag) + ">\n";
    }

    void category(const std::string& name, const Doc& doc, std::initializer_list<const char*> features) {
        begin("Category", name, true, &doc);
        for (const char* f : features) field("pFeature", f);
        end("Category");
    }

    // A register node behind a feature; invisible, custom name space.
    void reg(const char* tag, const std::string& name, uint32_t address, uint32_t length, const char* access,
             const char* index = nullptr, uint32_t index_offset = 0, const char* port = "Device",
             const char* endianness = "BigEndian", const char* sign = "Unsigned") {
        begin(tag, name, false, nullptr);
        field("Address", hex(address));
        if (index != nullptr) text += "    <pIndex Offset=\"" + hex(index_offset) + "\">" + index + "</pIndex>\n";
        field("Length", std::to_string(length));
        field("AccessMode", access);
        field("pPort", port);
        if (std::string(tag) == "IntReg") {
            field("Sign", sign);
            field("Endianess", endianness);
        } else if (std::string(tag) == "FloatReg") {
            field("Endianess", endianness);
        }
        end(tag);
    }
    // A masked register, bits numbered as GenICam does for big-endian registers (0 = MSB).
    void masked(const std::string& name, uint32_t address, const char* access, int lsb, int msb,
                const char* index = nullptr, uint32_t index_offset = 0) {
        begin("MaskedIntReg", name, false, nullptr);
        field("Address", hex(address));
        if (index != nullptr) text += "    <pIndex Offset=\"" + hex(index_offset) + "\">" + index + "</pIndex>\n";
        field("Length", "4");
        field("AccessMode", access);
        field("pPort", "Device");
        if (lsb == msb) {
            field("Bit", std::to_string(lsb));
        } else {
            field("LSB", std::to_string(lsb));
            field("MSB", std::to_string(msb));
        }
        field("Sign", "Unsigned");
        field("Endianess", "BigEndian");
        end("MaskedIntReg");
    }

    // An Integer feature on an IntReg of its own, named after it.
    void int_register(const std::string& name, const Doc& doc, uint32_t address, uint32_t length, const char* access,
                      const char* representation, const char* index = nullptr, uint32_t index_offset = 0) {
        const std::string reg_name = name + "Reg";
        const bool read_only = std::string(access) == "RO";
        integer(name, doc, reg_name.c_str(),
                {nullptr, nullptr, nullptr, nullptr, nullptr, representation, read_only ? "RO" : nullptr});
        reg("IntReg", reg_name, address, length, access, index, index_offset);
    }

    void string_reg(const std::string& name, const Doc& doc, uint32_t address, uint32_t length, const char* access) {
        begin("StringReg", name, true, &doc);
        field("Address", hex(address));
        field("Length", std::to_string(length));
        field("AccessMode", access);
        field("pPort", "Device");
        end("StringReg");
    }

    struct IntOpts {
        const char* min = nullptr;
        const char* max = nullptr;
        const char* pmax = nullptr;
        const char* inc = nullptr;
        const char* unit = nullptr;
        const char* representation = "Linear";
        const char* imposed = nullptr;
        std::initializer_list<const char*> selected = {};
    };
    void integer(const std::string& name, const Doc& doc, const char* pvalue, const IntOpts& o,
                 const char* value = nullptr) {
        begin("Integer", name, true, &doc);
        if (o.imposed != nullptr) field("ImposedAccessMode", o.imposed);
        if (value != nullptr)
            field("Value", value);
        else
            field("pValue", pvalue);
        if (o.min != nullptr) field("Min", o.min);
        if (o.pmax != nullptr)
            field("pMax", o.pmax);
        else if (o.max != nullptr)
            field("Max", o.max);
        if (o.inc != nullptr) field("Inc", o.inc);
        if (o.unit != nullptr) field("Unit", o.unit);
        if (o.representation != nullptr) field("Representation", o.representation);
        for (const char* s : o.selected) field("pSelected", s);
        end("Integer");
    }

    void floating(const std::string& name, const Doc& doc, const char* pvalue, const char* min, const char* max,
                  const char* unit, const char* imposed = nullptr) {
        begin("Float", name, true, &doc);
        if (imposed != nullptr) field("ImposedAccessMode", imposed);
        field("pValue", pvalue);
        if (min != nullptr) field("Min", min);
        if (max != nullptr) field("Max", max);
        if (unit != nullptr) field("Unit", unit);
        field("Representation", "Linear");
        end("Float");
    }

    void enumeration(const std::string& name, const Doc& doc, const char* pvalue, std::initializer_list<Entry> entries,
                     std::initializer_list<const char*> selected = {}, const char* imposed = nullptr) {
        begin("Enumeration", name, true, &doc);
        if (imposed != nullptr) field("ImposedAccessMode", imposed);
        for (const Entry& e : entries) {
            text += "    <EnumEntry Name=\"" + std::string(e.name) + "\" NameSpace=\"Standard\">\n";
            text += "      <DisplayName>" + escape(e.display) + "</DisplayName>\n";
            if (e.available != nullptr) text += "      <pIsAvailable>" + std::string(e.available) + "</pIsAvailable>\n";
            text += "      <Value>" + std::to_string(e.value) + "</Value>\n";
            text += "    </EnumEntry>\n";
        }
        field("pValue", pvalue);
        for (const char* s : selected) field("pSelected", s);
        end("Enumeration");
    }

    void boolean(const std::string& name, const Doc& doc, const char* pvalue,
                 std::initializer_list<const char*> selected = {}, const char* imposed = nullptr) {
        begin("Boolean", name, true, &doc);
        if (imposed != nullptr) field("ImposedAccessMode", imposed);
        field("pValue", pvalue);
        field("OnValue", "1");
        field("OffValue", "0");
        for (const char* s : selected) field("pSelected", s);
        end("Boolean");
    }

    void command(const std::string& name, const Doc& doc, const char* pvalue, uint32_t value) {
        begin("Command", name, true, &doc);
        field("pValue", pvalue);
        field("CommandValue", std::to_string(value));
        end("Command");
    }

    void selected_test(const std::string& name, const char* selector, uint32_t value) {
        begin("IntSwissKnife", name, false, nullptr);
        text += "    <pVariable Name=\"SEL\">" + std::string(selector) + "</pVariable>\n";
        field("Formula", "SEL = " + std::to_string(value));
        end("IntSwissKnife");
    }

    void port(const std::string& name, const char* id_tag = nullptr, const std::string& id = "") {
        if (id_tag != nullptr && std::string(id_tag) == "EventID") {
            text += "  <Port Name=\"" + name + "\" NameSpace=\"Custom\">\n";
            field("Visibility", "Invisible");
            field("EventID", id);
            text += "  </Port>\n\n";
            return;
        }
        text += "  <Port Name=\"" + name + "\" NameSpace=\"" + (id_tag == nullptr ? "Standard" : "Custom") + "\">\n";
        if (id_tag != nullptr) {
            field("Visibility", "Invisible");
            field(id_tag, id);
        }
        text += "  </Port>\n\n";
    }
};

std::string hex_digits(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%X", value);
    return text;
}

}  // namespace

std::string builtin_genicam_xml(const GenicamIdentity& id) {
    using namespace gvcp;
    Writer w;
    const std::string sensor_w = std::to_string(id.sensor_width);
    const std::string sensor_h = std::to_string(id.sensor_height);
    constexpr uint32_t sc = kStreamChannelStride;

    w.category("Root", {"Root", "All features of the sensor.", "Beginner"},
               {"DeviceControl", "ImageFormatControl", "Scan3dControl", "AcquisitionControl", "AnalogControl",
                "ChunkDataControl", "EventControl", "ActionControl", "PtpControl", "TransportLayerControl"});

    // Device control
    w.category("DeviceControl", {"Device Control", "Identity of the device.", "Beginner"},
               {"DeviceVendorName", "DeviceModelName", "DeviceVersion", "DeviceManufacturerInfo", "DeviceSerialNumber",
                "DeviceUserID"});
    w.string_reg("DeviceVendorName", {"Vendor Name", "Name of the manufacturer of the device.", "Beginner"},
                 REG_MANUFACTURER_NAME, MANUFACTURER_NAME_SIZE, "RO");
    w.string_reg("DeviceModelName", {"Model Name", "Model of the device.", "Beginner"}, REG_MODEL_NAME, MODEL_NAME_SIZE,
                 "RO");
    w.string_reg("DeviceVersion", {"Device Version", "Version of the device.", "Beginner"}, REG_DEVICE_VERSION,
                 DEVICE_VERSION_SIZE, "RO");
    w.string_reg("DeviceManufacturerInfo",
                 {"Manufacturer Info", "Additional information from the manufacturer.", "Expert"},
                 REG_MANUFACTURER_INFO, MANUFACTURER_INFO_SIZE, "RO");
    w.string_reg("DeviceSerialNumber", {"Serial Number", "Serial number of the device.", "Beginner"}, REG_SERIAL_NUMBER,
                 SERIAL_NUMBER_SIZE, "RO");
    w.string_reg("DeviceUserID",
                 {"User ID", "User-programmable name of the device (15 characters at most).", "Beginner"},
                 REG_USER_DEFINED_NAME, USER_DEFINED_NAME_SIZE, "RW");

    // Image format control and components
    w.category("ImageFormatControl",
               {"Image Format Control", "Size, components and pixel formats of the images.", "Beginner"},
               {"SensorWidth", "SensorHeight", "Width", "Height", "SourceSelector", "RegionSelector",
                "ComponentSelector", "ComponentEnable", "ComponentIDValue", "PixelFormat"});
    w.integer("SensorWidth", {"Sensor Width", "Width of the sensor, in pixels.", "Expert"}, "SensorWidthReg",
              {nullptr, nullptr, nullptr, nullptr, "px", "Linear", "RO"});
    w.reg("IntReg", "SensorWidthReg", reg::SensorWidth, 4, "RO");
    w.integer("SensorHeight", {"Sensor Height", "Height of the sensor, in pixels.", "Expert"}, "SensorHeightReg",
              {nullptr, nullptr, nullptr, nullptr, "px", "Linear", "RO"});
    w.reg("IntReg", "SensorHeightReg", reg::SensorHeight, 4, "RO");
    w.integer("Width", {"Width", "Width of the images sent, in pixels.", "Beginner"}, "WidthReg",
              {"16", nullptr, "SensorWidth", "1", "px"});
    w.reg("IntReg", "WidthReg", reg::Width, 4, "RW");
    w.integer("Height", {"Height", "Height of the images sent, in pixels.", "Beginner"}, "HeightReg",
              {"16", nullptr, "SensorHeight", "1", "px"});
    w.reg("IntReg", "HeightReg", reg::Height, 4, "RW");
    w.enumeration("SourceSelector", {"Source Selector", "Selects the data source to configure.", "Expert"},
                  "SourceSelectorReg", {{"Source0", 0, "Source 0", nullptr}}, {"RegionSelector"});
    w.reg("IntReg", "SourceSelectorReg", reg::SourceSelector, 4, "RW");
    w.enumeration("RegionSelector", {"Region Selector", "Selects the region of the source to configure.", "Expert"},
                  "RegionSelectorReg", {{"Region0", 0, "Region 0", nullptr}}, {"ComponentSelector"});
    w.reg("IntReg", "RegionSelectorReg", reg::RegionSelector, 4, "RW");
    w.enumeration("ComponentSelector",
                  {"Component Selector", "Selects the component (data of one kind) to configure.", "Beginner"},
                  "ComponentSelectorReg",
                  {{"Range", 0, "Range", nullptr},
                   {"Intensity", 1, "Intensity", nullptr},
                   {"Confidence", 2, "Confidence", nullptr}},
                  {"ComponentEnable", "ComponentIDValue", "PixelFormat"});
    w.reg("IntReg", "ComponentSelectorReg", reg::ComponentSelector, 4, "RW");
    w.boolean("ComponentEnable", {"Component Enable", "Sends the selected component with every frame.", "Beginner"},
              "ComponentEnableReg");
    w.reg("IntReg", "ComponentEnableReg", reg::ComponentEnable, 4, "RW", "ComponentSelectorReg", reg::kComponentStride);
    w.integer("ComponentIDValue",
              {"Component ID Value", "Identifier of the selected component in multipart frames.", "Expert"},
              "ComponentIDValueReg", {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.reg("IntReg", "ComponentIDValueReg", reg::ComponentIDValue, 4, "RO", "ComponentSelectorReg",
          reg::kComponentStride);
    w.selected_test("RangeSelected", "ComponentSelectorReg", static_cast<uint32_t>(Component::Range));
    w.selected_test("IntensitySelected", "ComponentSelectorReg", static_cast<uint32_t>(Component::Intensity));
    w.selected_test("ConfidenceSelected", "ComponentSelectorReg", static_cast<uint32_t>(Component::Confidence));
    w.enumeration("PixelFormat", {"Pixel Format", "Pixel format of the selected component.", "Beginner"},
                  "PixelFormatReg",
                  {{"Coord3D_ABC32f", kPixelFormatCoord3D_ABC32f, "Coord3D ABC32f (X, Y, Z in mm)", "RangeSelected"},
                   {"Coord3D_C16", kPixelFormatCoord3D_C16, "Coord3D C16 (scaled Z)", "RangeSelected"},
                   {"Mono8", kPixelFormatMono8, "Mono8", "IntensitySelected"},
                   {"Confidence8", kPixelFormatConfidence8, "Confidence8", "ConfidenceSelected"}});
    w.reg("IntReg", "PixelFormatReg", reg::ComponentPixelFormat, 4, "RW", "ComponentSelectorReg",
          reg::kComponentStride);

    // 3D
    w.category(
        "Scan3dControl", {"Scan 3D Control", "Calibration of the range data.", "Expert"},
        {"Scan3dCoordinateSelector", "Scan3dCoordinateScale", "Scan3dCoordinateOffset", "Scan3dInvalidDataValue"});
    w.enumeration("Scan3dCoordinateSelector",
                  {"Coordinate Selector", "Selects the coordinate whose scale and offset are shown.", "Expert"},
                  "Scan3dCoordinateSelectorReg",
                  {{"CoordinateA", reg::kScan3dCoordinateA, "Coordinate A (X from the pixel column)", nullptr},
                   {"CoordinateB", reg::kScan3dCoordinateB, "Coordinate B (Y from the pixel row)", nullptr},
                   {"CoordinateC", reg::kScan3dCoordinateC, "Coordinate C (Z of Coord3D_C16)", nullptr}},
                  {"Scan3dCoordinateScale", "Scan3dCoordinateOffset"});
    w.reg("IntReg", "Scan3dCoordinateSelectorReg", reg::Scan3dCoordinateSelector, 4, "RW");
    w.floating("Scan3dCoordinateScale",
               {"Coordinate Scale",
                "Millimetres per unit of the selected coordinate (Z = C16 value * scale + offset; X = column * "
                "scale + offset, Y = row * scale + offset).",
                "Expert"},
               "Scan3dCoordinateScaleReg", "0.001", "10", "mm");
    w.reg("FloatReg", "Scan3dCoordinateScaleReg", reg::Scan3dCoordinateScale, 8, "RW", "Scan3dCoordinateSelectorReg",
          reg::kScan3dCoordinateStride);
    w.floating("Scan3dCoordinateOffset",
               {"Coordinate Offset", "Offset added to the scaled selected coordinate.", "Expert"},
               "Scan3dCoordinateOffsetReg", "-10000", "10000", "mm");
    w.reg("FloatReg", "Scan3dCoordinateOffsetReg", reg::Scan3dCoordinateOffset, 8, "RW", "Scan3dCoordinateSelectorReg",
          reg::kScan3dCoordinateStride);
    w.floating("Scan3dInvalidDataValue",
               {"Invalid Data Value", "Coord3D_C16 value of a pixel without a measurement.", "Expert"},
               "Scan3dInvalidDataValueReg", nullptr, nullptr, nullptr, "RO");
    w.reg("FloatReg", "Scan3dInvalidDataValueReg", reg::Scan3dInvalidDataValue, 8, "RO");

    // Acquisition and trigger
    w.category(
        "AcquisitionControl", {"Acquisition Control", "Starting, stopping and triggering frames.", "Beginner"},
        {"AcquisitionMode", "AcquisitionStart", "AcquisitionStop", "AcquisitionFrameCount", "AcquisitionFrameRate",
         "TriggerSelector", "TriggerMode", "TriggerSource", "TriggerActivation", "TriggerSoftware", "ExposureTime"});
    w.enumeration("AcquisitionMode", {"Acquisition Mode", "Number of frames sent per AcquisitionStart.", "Beginner"},
                  "AcquisitionModeReg",
                  {{"Continuous", reg::kAcquisitionModeContinuous, "Continuous", nullptr},
                   {"SingleFrame", reg::kAcquisitionModeSingleFrame, "Single Frame", nullptr},
                   {"MultiFrame", reg::kAcquisitionModeMultiFrame, "Multi Frame", nullptr}});
    w.reg("IntReg", "AcquisitionModeReg", reg::AcquisitionMode, 4, "RW");
    w.command("AcquisitionStart", {"Acquisition Start", "Starts sending frames.", "Beginner"}, "AcquisitionStartReg",
              1);
    w.reg("IntReg", "AcquisitionStartReg", reg::AcquisitionStart, 4, "WO");
    w.command("AcquisitionStop", {"Acquisition Stop", "Stops sending frames.", "Beginner"}, "AcquisitionStopReg", 1);
    w.reg("IntReg", "AcquisitionStopReg", reg::AcquisitionStop, 4, "WO");
    w.integer("AcquisitionFrameCount",
              {"Acquisition Frame Count", "Frames sent per start in MultiFrame mode.", "Beginner"},
              "AcquisitionFrameCountReg", {"1", "65535", nullptr, "1"});
    w.reg("IntReg", "AcquisitionFrameCountReg", reg::AcquisitionFrameCount, 4, "RW");
    w.floating("AcquisitionFrameRate",
               {"Acquisition Frame Rate", "Frame rate of free-running acquisition.", "Beginner"},
               "AcquisitionFrameRateReg", "0.1", "1000", "Hz");
    w.reg("FloatReg", "AcquisitionFrameRateReg", reg::AcquisitionFrameRate, 8, "RW");
    w.enumeration("TriggerSelector", {"Trigger Selector", "Selects the trigger to configure.", "Beginner"},
                  "TriggerSelectorReg", {{"FrameStart", 0, "Frame Start", nullptr}},
                  {"TriggerMode", "TriggerSource", "TriggerActivation", "TriggerSoftware"});
    w.reg("IntReg", "TriggerSelectorReg", reg::TriggerSelector, 4, "RW");
    w.enumeration("TriggerMode", {"Trigger Mode", "On: one frame per trigger; Off: free running.", "Beginner"},
                  "TriggerModeReg", {{"Off", 0, "Off", nullptr}, {"On", 1, "On", nullptr}});
    w.reg("IntReg", "TriggerModeReg", reg::TriggerMode, 4, "RW");
    w.enumeration("TriggerSource", {"Trigger Source", "Source of the trigger.", "Beginner"}, "TriggerSourceReg",
                  {{"Software", reg::kTriggerSourceSoftware, "Software", nullptr},
                   {"Action1", reg::kTriggerSourceAction1, "Action 1", nullptr},
                   {"Action2", reg::kTriggerSourceAction1 + 1, "Action 2", nullptr},
                   {"Action3", reg::kTriggerSourceAction1 + 2, "Action 3", nullptr},
                   {"Action4", reg::kTriggerSourceAction1 + 3, "Action 4", nullptr}});
    static_assert(reg::kActionSignalCount == 4, "one TriggerSource entry per action signal");
    w.reg("IntReg", "TriggerSourceReg", reg::TriggerSource, 4, "RW");
    w.enumeration("TriggerActivation",
                  {"Trigger Activation", "Edge of the trigger signal that starts a frame.", "Expert"},
                  "TriggerActivationReg", {{"RisingEdge", 0, "Rising Edge", nullptr}});
    w.reg("IntReg", "TriggerActivationReg", reg::TriggerActivation, 4, "RW");
    w.command("TriggerSoftware", {"Trigger Software", "Sends one frame when TriggerMode is On.", "Beginner"},
              "TriggerSoftwareReg", 1);
    w.reg("IntReg", "TriggerSoftwareReg", reg::TriggerSoftware, 4, "WO");
    w.floating("ExposureTime", {"Exposure Time", "Exposure time of the sensor.", "Beginner"}, "ExposureTimeReg", "10",
               "100000", "us");
    w.reg("FloatReg", "ExposureTimeReg", reg::ExposureTime, 8, "RW");
    w.category("AnalogControl", {"Analog Control", "Gain of the sensor.", "Beginner"}, {"Gain"});
    w.floating("Gain", {"Gain", "Gain of the sensor.", "Beginner"}, "GainReg", "0", "24", "dB");
    w.reg("FloatReg", "GainReg", reg::Gain, 8, "RW");

    // Chunks
    w.category("ChunkDataControl", {"Chunk Data Control", "Data appended to every frame.", "Expert"},
               {"ChunkModeActive", "ChunkSelector", "ChunkEnable", "ChunkTimestamp", "ChunkFrameID"});
    w.boolean("ChunkModeActive", {"Chunk Mode Active", "Appends the enabled chunks to every frame.", "Expert"},
              "ChunkModeActiveReg");
    w.reg("IntReg", "ChunkModeActiveReg", reg::ChunkModeActive, 4, "RW");
    w.enumeration("ChunkSelector", {"Chunk Selector", "Selects the chunk to configure.", "Expert"}, "ChunkSelectorReg",
                  {{"Timestamp", reg::kChunkTimestamp, "Timestamp", nullptr},
                   {"FrameID", reg::kChunkFrameID, "Frame ID", nullptr}},
                  {"ChunkEnable"});
    w.reg("IntReg", "ChunkSelectorReg", reg::ChunkSelector, 4, "RW");
    w.boolean("ChunkEnable", {"Chunk Enable", "Sends the selected chunk when chunk mode is active.", "Expert"},
              "ChunkEnableReg");
    w.reg("IntReg", "ChunkEnableReg", reg::ChunkEnable, 4, "RW", "ChunkSelectorReg", 4);
    w.integer("ChunkTimestamp", {"Chunk Timestamp", "Device timestamp of the frame, in ticks.", "Expert"},
              "ChunkTimestampReg", {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.reg("IntReg", "ChunkTimestampReg", 0, 8, "RO", nullptr, 0, "ChunkTimestampPort", "LittleEndian");
    w.port("ChunkTimestampPort", "ChunkID", hex_digits(kChunkIdTimestamp));
    w.integer("ChunkFrameID", {"Chunk Frame ID", "Block id of the frame.", "Expert"}, "ChunkFrameIDReg",
              {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.reg("IntReg", "ChunkFrameIDReg", 0, 8, "RO", nullptr, 0, "ChunkFrameIDPort", "LittleEndian");
    w.port("ChunkFrameIDPort", "ChunkID", hex_digits(kChunkIdFrameId));

    // Events
    w.category("EventControl", {"Event Control", "Notifications sent on the message channel.", "Expert"},
               {"EventSelector", "EventNotification", "EventFrameEndData"});
    w.enumeration("EventSelector", {"Event Selector", "Selects the event to configure.", "Expert"}, "EventSelectorReg",
                  {{"FrameEnd", reg::kEventFrameEnd, "Frame End", nullptr}}, {"EventNotification"});
    w.reg("IntReg", "EventSelectorReg", reg::EventSelector, 4, "RW");
    w.enumeration("EventNotification",
                  {"Event Notification", "Sends the selected event on the message channel.", "Expert"},
                  "EventNotificationReg", {{"Off", 0, "Off", nullptr}, {"On", 1, "On", nullptr}});
    w.reg("IntReg", "EventNotificationReg", reg::EventNotification, 4, "RW", "EventSelectorReg", 4);
    w.category("EventFrameEndData", {"Frame End Event Data", "Data of the FrameEnd event.", "Expert"},
               {"EventFrameEnd", "EventFrameEndTimestamp", "EventFrameEndFrameID"});
    w.integer("EventFrameEnd", {"Frame End Event", "Event id of the FrameEnd event.", "Expert"}, nullptr,
              {nullptr, nullptr, nullptr, nullptr, nullptr, "HexNumber", "RO"},
              std::to_string(reg::kEventIdFrameEnd).c_str());
    w.integer("EventFrameEndTimestamp", {"Frame End Timestamp", "Device timestamp of the frame that ended.", "Expert"},
              "EventFrameEndTimestampReg", {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.reg("IntReg", "EventFrameEndTimestampReg", reg::kEventFrameEndTimestampOffset, 8, "RO", nullptr, 0,
          "EventFrameEndPort");
    w.integer("EventFrameEndFrameID", {"Frame End Frame ID", "Block id of the frame that ended.", "Expert"},
              "EventFrameEndFrameIDReg", {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.reg("IntReg", "EventFrameEndFrameIDReg", reg::kEventFrameEndFrameIdOffset, 8, "RO", nullptr, 0,
          "EventFrameEndPort");
    w.port("EventFrameEndPort", "EventID", hex_digits(reg::kEventIdFrameEnd));

    // Action commands: signal n fires where the device key, the group key of
    // group n and its mask match the command's.
    w.category("ActionControl", {"Action Control", "Action commands the device takes.", "Expert"},
               {"ActionDeviceKey", "ActionSelector", "ActionGroupKey", "ActionGroupMask", "ActionQueueSize",
                "ActionUnconditionalMode"});
    w.int_register("ActionDeviceKey",
                   {"Action Device Key", "Key an action command must carry to reach the device.", "Expert"},
                   REG_ACTION_DEVICE_KEY, 4, "RW", "HexNumber");
    const std::string signals = std::to_string(reg::kActionSignalCount);
    w.integer("ActionSelector", {"Action Selector", "Selects the action signal to configure.", "Expert"},
              "ActionSelectorReg",
              {"1", signals.c_str(), nullptr, "1", nullptr, "Linear", nullptr, {"ActionGroupKey", "ActionGroupMask"}});
    w.reg("IntReg", "ActionSelectorReg", reg::ActionSelector, 4, "RW");
    w.int_register("ActionGroupKey", {"Action Group Key", "Group key of the selected action signal.", "Expert"},
                   REG_ACTION_GROUP_KEY0 - kActionGroupStride, 4, "RW", "HexNumber", "ActionSelectorReg",
                   kActionGroupStride);
    w.int_register("ActionGroupMask",
                   {"Action Group Mask", "Group mask of the selected action signal; 0 takes no action.", "Expert"},
                   REG_ACTION_GROUP_MASK0 - kActionGroupStride, 4, "RW", "HexNumber", "ActionSelectorReg",
                   kActionGroupStride);
    w.int_register("ActionQueueSize", {"Action Queue Size", "Scheduled actions the device holds at most.", "Expert"},
                   REG_SCHEDULED_ACTION_QUEUE_SIZE, 4, "RO", "Linear");
    w.enumeration(
        "ActionUnconditionalMode",
        {"Unconditional Action Mode", "On: actions are taken while no application controls the device.", "Guru"},
        "ActionUnconditionalModeReg", {{"Off", 0, "Off", nullptr}, {"On", 1, "On", nullptr}});
    w.masked("ActionUnconditionalModeReg", REG_GVCP_CONFIGURATION, "RW", 28, 28);

    // The device clock: with PTP enabled it follows the host's realtime clock
    // (the master), in ns.
    w.category("PtpControl", {"PTP Control", "Synchronisation of the device clock (IEEE 1588).", "Expert"},
               {"PtpEnable", "PtpStatus", "PtpDataSetLatch", "PtpOffsetFromMaster", "PtpClockID"});
    w.boolean("PtpEnable", {"PTP Enable", "Synchronises the device clock with the master clock.", "Expert"},
              "PtpEnableReg");
    w.masked("PtpEnableReg", REG_GVCP_CONFIGURATION, "RW", 12, 12);
    w.enumeration("PtpStatus", {"PTP Status", "State of the device clock's PTP port.", "Expert"}, "PtpStatusReg",
                  {{"Initializing", 1, "Initializing", nullptr},
                   {"Faulty", 2, "Faulty", nullptr},
                   {"Disabled", reg::kPtpStateDisabled, "Disabled", nullptr},
                   {"Listening", 4, "Listening", nullptr},
                   {"PreMaster", 5, "Pre Master", nullptr},
                   {"Master", 6, "Master", nullptr},
                   {"Passive", 7, "Passive", nullptr},
                   {"Uncalibrated", reg::kPtpStateUncalibrated, "Uncalibrated", nullptr},
                   {"Slave", reg::kPtpStateSlave, "Slave", nullptr}},
                  {}, "RO");
    w.masked("PtpStatusReg", REG_IEEE1588_STATUS, "RO", 31, 28);
    w.command("PtpDataSetLatch", {"PTP Data Set Latch", "Latches the PTP data set shown below.", "Expert"},
              "PtpDataSetLatchReg", 1);
    w.reg("IntReg", "PtpDataSetLatchReg", reg::PtpDataSetLatch, 4, "WO");
    w.integer("PtpOffsetFromMaster",
              {"PTP Offset From Master", "Device clock minus master clock at the last latch.", "Expert"},
              "PtpOffsetFromMasterReg", {nullptr, nullptr, nullptr, nullptr, "ns", "Linear", "RO"});
    w.reg("IntReg", "PtpOffsetFromMasterReg", reg::PtpOffsetFromMaster, 8, "RO", nullptr, 0, "Device", "BigEndian",
          "Signed");
    w.int_register("PtpClockID", {"PTP Clock ID", "Identity of the device clock at the last latch.", "Expert"},
                   reg::PtpClockID, 8, "RO", "HexNumber");

    // GigE Vision transport layer
    w.category("TransportLayerControl",
               {"Transport Layer Control", "GigE Vision network and channel settings.", "Beginner"},
               {"PayloadSize",
                "GevVersionMajor",
                "GevVersionMinor",
                "GevMACAddress",
                "GevCurrentIPConfigurationLLA",
                "GevCurrentIPConfigurationDHCP",
                "GevCurrentIPConfigurationPersistentIP",
                "GevCurrentIPAddress",
                "GevCurrentSubnetMask",
                "GevCurrentDefaultGateway",
                "GevPersistentIPAddress",
                "GevPersistentSubnetMask",
                "GevPersistentDefaultGateway",
                "GevLinkSpeed",
                "GevFirstURL",
                "GevSecondURL",
                "GevNumberOfInterfaces",
                "GevMessageChannelCount",
                "GevStreamChannelCount",
                "GevHeartbeatTimeout",
                "GevGVCPHeartbeatDisable",
                "GevTimestampTickFrequency",
                "GevTimestampControlLatch",
                "GevTimestampControlReset",
                "GevTimestampValue",
                "GevCCP",
                "GevMCPHostPort",
                "GevMCDA",
                "GevMCTT",
                "GevMCRC",
                "GevMCSP",
                "GevGVSPExtendedIDMode",
                "GevStreamChannelSelector",
                "GevSCPHostPort",
                "GevSCPSFireTestPacket",
                "GevSCPSDoNotFragment",
                "GevSCPSPacketSize",
                "GevSCPD",
                "GevSCDA",
                "GevSCSP",
                "GevSCCFGMultiPartEnabled"});
    w.integer("PayloadSize", {"Payload Size", "Bytes of one frame's payload with the current settings.", "Expert"},
              "PayloadSizeReg", {nullptr, nullptr, nullptr, nullptr, "B", "Linear", "RO"});
    w.reg("IntReg", "PayloadSizeReg", reg::PayloadSize, 4, "RO");
    w.integer("GevVersionMajor", {"GigE Vision Major Version", "Major version of the protocol.", "Guru"},
              "GevVersionMajorReg", {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.masked("GevVersionMajorReg", REG_VERSION, "RO", 15, 0);
    w.integer("GevVersionMinor", {"GigE Vision Minor Version", "Minor version of the protocol.", "Guru"},
              "GevVersionMinorReg", {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.masked("GevVersionMinorReg", REG_VERSION, "RO", 31, 16);
    w.integer("GevMACAddress", {"MAC Address", "MAC address of the network interface.", "Expert"}, "GevMACAddressReg",
              {nullptr, nullptr, nullptr, nullptr, nullptr, "MACAddress", "RO"});
    w.reg("IntReg", "GevMACAddressReg", REG_MAC_HIGH, 8, "RO");
    w.boolean("GevCurrentIPConfigurationLLA", {"LLA", "Link-local addressing (always on).", "Expert"}, "GevLLAReg", {},
              "RO");
    w.masked("GevLLAReg", REG_CURRENT_IP_CONFIG, "RO", 29, 29);
    w.boolean("GevCurrentIPConfigurationDHCP", {"DHCP", "Address from DHCP at power-up.", "Expert"}, "GevDHCPReg");
    w.masked("GevDHCPReg", REG_CURRENT_IP_CONFIG, "RW", 30, 30);
    w.boolean("GevCurrentIPConfigurationPersistentIP", {"Persistent IP", "Persistent address at power-up.", "Expert"},
              "GevPersistentIPReg");
    w.masked("GevPersistentIPReg", REG_CURRENT_IP_CONFIG, "RW", 31, 31);
    struct Ip {
        const char* name;
        const char* display;
        const char* tooltip;
        uint32_t address;
        const char* access;
    };
    for (const Ip& ip :
         {Ip{"GevCurrentIPAddress", "Current IP Address", "IPv4 address of the device.", REG_CURRENT_IP_ADDRESS, "RO"},
          Ip{"GevCurrentSubnetMask", "Current Subnet Mask", "Subnet mask of the device.", REG_CURRENT_SUBNET_MASK,
             "RO"},
          Ip{"GevCurrentDefaultGateway", "Current Default Gateway", "Default gateway of the device.",
             REG_CURRENT_GATEWAY, "RO"},
          Ip{"GevPersistentIPAddress", "Persistent IP Address", "Address used at power-up with Persistent IP.",
             REG_PERSISTENT_IP_ADDRESS, "RW"},
          Ip{"GevPersistentSubnetMask", "Persistent Subnet Mask", "Mask used at power-up with Persistent IP.",
             REG_PERSISTENT_SUBNET_MASK, "RW"},
          Ip{"GevPersistentDefaultGateway", "Persistent Default Gateway",
             "Gateway used at power-up with Persistent IP.", REG_PERSISTENT_GATEWAY, "RW"}}) {
        std::string reg_name = std::string(ip.name) + "Reg";
        w.integer(ip.name, {ip.display, ip.tooltip, "Expert"}, reg_name.c_str(),
                  {nullptr, nullptr, nullptr, nullptr, nullptr, "IPV4Address"});
        w.reg("IntReg", reg_name, ip.address, 4, ip.access);
    }
    w.integer("GevLinkSpeed", {"Link Speed", "Speed of the network link.", "Expert"}, "GevLinkSpeedReg",
              {nullptr, nullptr, nullptr, nullptr, "Mbps", "Linear", "RO"});
    w.reg("IntReg", "GevLinkSpeedReg", REG_LINK_SPEED, 4, "RO");
    w.string_reg("GevFirstURL", {"First URL", "Location of the GenICam file.", "Guru"}, REG_FIRST_URL, URL_SIZE, "RO");
    w.string_reg("GevSecondURL", {"Second URL", "Alternative location of the GenICam file.", "Guru"}, REG_SECOND_URL,
                 URL_SIZE, "RO");
    w.integer("GevNumberOfInterfaces", {"Number of Interfaces", "Network interfaces of the device.", "Expert"},
              "GevNumberOfInterfacesReg", {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.reg("IntReg", "GevNumberOfInterfacesReg", REG_NUMBER_OF_INTERFACES, 4, "RO");
    w.integer("GevMessageChannelCount", {"Message Channel Count", "Message channels of the device.", "Expert"},
              "GevMessageChannelCountReg", {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.reg("IntReg", "GevMessageChannelCountReg", REG_NUMBER_OF_MESSAGE_CHANNELS, 4, "RO");
    w.integer("GevStreamChannelCount", {"Stream Channel Count", "Stream channels of the device.", "Expert"},
              "GevStreamChannelCountReg", {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.reg("IntReg", "GevStreamChannelCountReg", REG_NUMBER_OF_STREAM_CHANNELS, 4, "RO");
    w.integer(
        "GevHeartbeatTimeout",
        {"Heartbeat Timeout", "The controlling application loses control after this long without a command.", "Guru"},
        "GevHeartbeatTimeoutReg", {"500", "600000", nullptr, "1", "ms"});
    w.reg("IntReg", "GevHeartbeatTimeoutReg", REG_HEARTBEAT_TIMEOUT, 4, "RW");
    w.boolean("GevGVCPHeartbeatDisable", {"Heartbeat Disable", "Disables the heartbeat time-out.", "Guru"},
              "GevGVCPHeartbeatDisableReg");
    w.masked("GevGVCPHeartbeatDisableReg", REG_GVCP_CONFIGURATION, "RW", 31, 31);
    w.integer("GevTimestampTickFrequency",
              {"Timestamp Tick Frequency", "Ticks per second of the device clock.", "Expert"},
              "GevTimestampTickFrequencyReg", {nullptr, nullptr, nullptr, nullptr, "Hz", "Linear", "RO"});
    w.reg("IntReg", "GevTimestampTickFrequencyReg", REG_TIMESTAMP_TICK_FREQUENCY_HIGH, 8, "RO");
    w.command("GevTimestampControlLatch",
              {"Timestamp Latch", "Copies the device clock to GevTimestampValue.", "Expert"}, "GevTimestampControlReg",
              TIMESTAMP_CONTROL_LATCH);
    w.command("GevTimestampControlReset", {"Timestamp Reset", "Restarts the device clock at 0.", "Expert"},
              "GevTimestampControlReg", TIMESTAMP_CONTROL_RESET);
    w.reg("IntReg", "GevTimestampControlReg", REG_TIMESTAMP_CONTROL, 4, "WO");
    w.integer("GevTimestampValue", {"Timestamp Value", "Device clock at the last latch, in ticks.", "Expert"},
              "GevTimestampValueReg", {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.reg("IntReg", "GevTimestampValueReg", REG_TIMESTAMP_VALUE_HIGH, 8, "RO");
    w.enumeration("GevCCP", {"Control Channel Privilege", "Access the application has to the device.", "Guru"},
                  "GevCCPReg",
                  {{"OpenAccess", 0, "Open Access", nullptr},
                   {"ExclusiveAccess", CCP_EXCLUSIVE, "Exclusive Access", nullptr},
                   {"ControlAccess", CCP_CONTROL, "Control Access", nullptr}});
    w.reg("IntReg", "GevCCPReg", REG_CCP, 4, "RW");
    w.integer("GevMCPHostPort", {"Message Channel Port", "UDP port events are sent to; 0 closes the channel.", "Guru"},
              "GevMCPHostPortReg", {"0", "65535", nullptr, "1"});
    w.masked("GevMCPHostPortReg", REG_MCP, "RW", 31, 16);
    w.integer("GevMCDA", {"Message Channel Destination", "IPv4 address events are sent to.", "Guru"}, "GevMCDAReg",
              {nullptr, nullptr, nullptr, nullptr, nullptr, "IPV4Address"});
    w.reg("IntReg", "GevMCDAReg", REG_MCDA, 4, "RW");
    w.integer("GevMCTT", {"Message Channel Timeout", "Wait for an event acknowledge before retrying.", "Guru"},
              "GevMCTTReg", {"0", "10000", nullptr, "1", "ms"});
    w.reg("IntReg", "GevMCTTReg", REG_MCTT, 4, "RW");
    w.integer("GevMCRC", {"Message Channel Retry Count", "Retries of an unacknowledged event.", "Guru"}, "GevMCRCReg",
              {"0", "100", nullptr, "1"});
    w.reg("IntReg", "GevMCRCReg", REG_MCRC, 4, "RW");
    w.integer("GevMCSP", {"Message Channel Source Port", "UDP port events are sent from.", "Guru"}, "GevMCSPReg",
              {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.masked("GevMCSPReg", REG_MCSP, "RO", 31, 16);
    w.enumeration("GevGVSPExtendedIDMode",
                  {"Extended ID Mode", "64-bit block ids and 32-bit packet ids on the stream.", "Expert"},
                  "GevGVSPExtendedIDModeReg", {{"Off", 0, "Off", nullptr}, {"On", 1, "On", nullptr}});
    w.masked("GevGVSPExtendedIDModeReg", REG_GVSP_CONFIGURATION, "RW", 1, 1);
    w.integer("GevStreamChannelSelector",
              {"Stream Channel Selector", "Selects the stream channel to configure.", "Expert"}, nullptr,
              {"0",
               "0",
               nullptr,
               "1",
               nullptr,
               "Linear",
               nullptr,
               {"GevSCPHostPort", "GevSCPSFireTestPacket", "GevSCPSDoNotFragment", "GevSCPSPacketSize", "GevSCPD",
                "GevSCDA", "GevSCSP", "GevSCCFGMultiPartEnabled"}},
              "0");
    w.integer("GevSCPHostPort", {"Stream Channel Port", "UDP port frames are sent to; 0 closes the channel.", "Expert"},
              "GevSCPHostPortReg", {"0", "65535", nullptr, "1"});
    w.masked("GevSCPHostPortReg", REG_SCP0, "RW", 31, 16, "GevStreamChannelSelector", sc);
    w.boolean("GevSCPSFireTestPacket", {"Fire Test Packet", "Sends one test packet of GevSCPSPacketSize.", "Guru"},
              "GevSCPSFireTestPacketReg");
    w.masked("GevSCPSFireTestPacketReg", REG_SCPS0, "RW", 0, 0, "GevStreamChannelSelector", sc);
    w.boolean("GevSCPSDoNotFragment",
              {"Do Not Fragment", "Sets the IP do-not-fragment flag on stream packets.", "Guru"},
              "GevSCPSDoNotFragmentReg");
    w.masked("GevSCPSDoNotFragmentReg", REG_SCPS0, "RW", 1, 1, "GevStreamChannelSelector", sc);
    w.integer("GevSCPSPacketSize", {"Packet Size", "Size of stream packets, IP and UDP headers included.", "Expert"},
              "GevSCPSPacketSizeReg", {"576", "9000", nullptr, "4", "B"});
    w.masked("GevSCPSPacketSizeReg", REG_SCPS0, "RW", 31, 16, "GevStreamChannelSelector", sc);
    w.integer("GevSCPD", {"Packet Delay", "Delay between two stream packets, in timestamp ticks.", "Expert"},
              "GevSCPDReg", {"0", "1000000000", nullptr, "1"});
    w.reg("IntReg", "GevSCPDReg", REG_SCPD0, 4, "RW", "GevStreamChannelSelector", sc);
    w.integer("GevSCDA", {"Stream Destination Address", "IPv4 address frames are sent to.", "Expert"}, "GevSCDAReg",
              {nullptr, nullptr, nullptr, nullptr, nullptr, "IPV4Address"});
    w.reg("IntReg", "GevSCDAReg", REG_SCDA0, 4, "RW", "GevStreamChannelSelector", sc);
    w.integer("GevSCSP", {"Stream Source Port", "UDP port frames are sent from.", "Expert"}, "GevSCSPReg",
              {nullptr, nullptr, nullptr, nullptr, nullptr, "Linear", "RO"});
    w.masked("GevSCSPReg", REG_SCSP0, "RO", 31, 16, "GevStreamChannelSelector", sc);
    w.boolean("GevSCCFGMultiPartEnabled",
              {"Multipart Enabled", "Sends every enabled component as one part of a multipart frame.", "Expert"},
              "GevSCCFGMultiPartEnabledReg");
    w.masked("GevSCCFGMultiPartEnabledReg", REG_SCCFG0, "RW", 25, 25, "GevStreamChannelSelector", sc);

    w.port("Device");

    std::string head =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<RegisterDescription\n"
        "  ModelName=\"" +
        c_name(id.model) +
        "\"\n"
        "  VendorName=\"" +
        c_name(id.vendor) +
        "\"\n"
        "  ToolTip=\"" +
        escape(id.vendor + " " + id.model) +
        "\"\n"
        "  StandardNameSpace=\"GEV\"\n"
        "  SchemaMajorVersion=\"1\"\n"
        "  SchemaMinorVersion=\"1\"\n"
        "  SchemaSubMinorVersion=\"0\"\n"
        "  MajorVersion=\"1\"\n"
        "  MinorVersion=\"0\"\n"
        "  SubMinorVersion=\"0\"\n"
        "  ProductGuid=\"6f726e63-7669-7274-7561-6c3364000001\"\n"
        "  VersionGuid=\"6f726e63-7669-7274-7561-6c3364010000\"\n"
        "  xmlns=\"http://www.genicam.org/GenApi/Version_1_1\"\n"
        "  xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"\n"
        "  xsi:schemaLocation=\"http://www.genicam.org/GenApi/Version_1_1 GenApiSchema_Version_1_1.xsd\">\n\n";
    (void)sensor_w;
    (void)sensor_h;
    return head + w.text + "</RegisterDescription>\n";
}

namespace {

// The text of the first <tag>...</tag> inside [begin, end), or "".
std::string child_text(const std::string& xml, size_t begin, size_t end, const std::string& tag) {
    std::string open = "<" + tag + ">";
    size_t p = xml.find(open, begin);
    if (p == std::string::npos || p >= end) return "";
    p += open.size();
    size_t q = xml.find("</" + tag + ">", p);
    if (q == std::string::npos || q > end) return "";
    return xml.substr(p, q - p);
}

bool parse_number(const std::string& text, uint32_t* value) {
    if (text.empty()) return false;
    char* end = nullptr;
    unsigned long long v = std::strtoull(text.c_str(), &end, 0);
    if (end == text.c_str() || v > 0xFFFFFFFFull) return false;
    *value = static_cast<uint32_t>(v);
    return true;
}

}  // namespace

// For a register element spanning [begin, end) with <pIndex Offset="N">Sel</pIndex>:
// the stride N and the highest value among Sel's enumeration entries.
static bool indexed_register_span(const std::string& xml, size_t begin, size_t end, uint32_t* stride,
                                  uint32_t* highest) {
    const size_t tag = xml.find("<pIndex Offset=\"", begin);
    if (tag == std::string::npos || tag >= end) return false;
    const size_t value_begin = tag + std::strlen("<pIndex Offset=\"");
    const size_t value_end = xml.find('"', value_begin);
    const size_t name_begin = xml.find('>', tag);
    const size_t name_end = xml.find("</pIndex>", tag);
    if (value_end == std::string::npos || name_begin == std::string::npos || name_end == std::string::npos ||
        name_end > end || !parse_number(xml.substr(value_begin, value_end - value_begin), stride)) {
        return false;
    }
    // The index is the selector enumeration itself or the register behind it.
    const std::string selector = xml.substr(name_begin + 1, name_end - name_begin - 1);
    size_t selector_at = xml.find("<Enumeration Name=\"" + selector + "\"");
    if (selector_at == std::string::npos) {
        const size_t reference = xml.find("<pValue>" + selector + "</pValue>");
        if (reference == std::string::npos) return false;
        selector_at = xml.rfind("<Enumeration ", reference);
        if (selector_at == std::string::npos || xml.find("</Enumeration>", selector_at) < reference) return false;
    }
    const size_t selector_end = xml.find("</Enumeration>", selector_at);
    if (selector_end == std::string::npos) return false;
    *highest = 0;
    for (size_t entry = xml.find("<EnumEntry", selector_at); entry != std::string::npos && entry < selector_end;
         entry = xml.find("<EnumEntry", entry + 1)) {
        uint32_t value = 0;
        if (parse_number(child_text(xml, entry, selector_end, "Value"), &value)) *highest = std::max(*highest, value);
    }
    return true;
}

bool find_feature_register(const std::string& xml, const std::string& feature, uint32_t* address, uint32_t* length) {
    if (address == nullptr || length == nullptr || feature.empty()) return false;
    std::string name = feature;
    for (int depth = 0; depth < 4; ++depth) {
        std::string key = "Name=\"" + name + "\"";
        size_t at = xml.find(key);
        if (at == std::string::npos) return false;
        size_t tag_start = xml.rfind('<', at);
        if (tag_start == std::string::npos) return false;
        size_t tag_end = xml.find_first_of(" \t\r\n>", tag_start + 1);
        if (tag_end == std::string::npos) return false;
        std::string tag = xml.substr(tag_start + 1, tag_end - tag_start - 1);
        size_t body_end = xml.find("</" + tag + ">", at);
        if (body_end == std::string::npos) return false;
        std::string addr = child_text(xml, at, body_end, "Address");
        if (!addr.empty()) {
            uint32_t len = 4;
            parse_number(child_text(xml, at, body_end, "Length"), &len);
            if (!parse_number(addr, address)) return false;
            *length = len;
            // A register indexed by a selector stands once per selector value:
            // the refused span covers every copy.
            uint32_t stride = 0, highest = 0;
            if (indexed_register_span(xml, at, body_end, &stride, &highest)) {
                const uint64_t span = uint64_t{stride} * highest + len;
                *length = static_cast<uint32_t>(std::min<uint64_t>(span, 0xFFFFFFFFu - *address));
            }
            return true;
        }
        std::string next = child_text(xml, at, body_end, "pValue");
        if (next.empty()) return false;
        name = next;
    }
    return false;
}

}  // namespace ornsim
