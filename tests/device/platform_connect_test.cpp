// Connecting, the description dump, the communication and stream node
// maps, buffers and the connect/disconnect cycle, against the virtual
// sensor with its built-in description over real UDP on loopback.
#include <arv.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ornsim/virtual_sensor.h"
#include "platform/PvBuffer.h"
#include "platform/PvDeviceGEV.h"
#include "platform/PvGenInteger.h"
#include "platform/PvGenParameterArray.h"
#include "platform/PvStreamGEV.h"
#include "platform/gvcp/gvcp_protocol.h"
#include "platform_test_support.h"

namespace {

constexpr const char* kSensorAddress = "127.0.46.2";
constexpr const char* kZippedSensorAddress = "127.0.46.3";
constexpr const char* kSilentAddress = "127.0.46.4";  // nothing listens here

std::unique_ptr<ornsim::VirtualSensor> start_sensor(const char* address, bool zipped = false) {
    ornsim::SensorConfig config;
    config.address = address;
    config.zipped_xml = zipped;
    std::unique_ptr<ornsim::VirtualSensor> sensor(new ornsim::VirtualSensor(config));
    std::string error;
    EXPECT_TRUE(sensor->start(&error)) << error;
    return sensor;
}

struct DeviceDeleter {
    void operator()(PvDevice* device) const { PvDevice::Free(device); }
};
struct StreamDeleter {
    void operator()(PvStream* stream) const { PvStream::Free(stream); }
};
using DevicePtr = std::unique_ptr<PvDevice, DeviceDeleter>;
using StreamPtr = std::unique_ptr<PvStream, StreamDeleter>;

DevicePtr connect(const char* address) {
    PvResult result;
    DevicePtr device(PvDevice::CreateAndConnect(PvString(address), &result));
    EXPECT_NE(device, nullptr) << result.GetCodeString().GetAscii() << ": " << result.GetDescription().GetAscii();
    return device;
}

uint32_t read_register(PvDevice* device, uint32_t address) {
    guint32 value = 0;
    EXPECT_TRUE(arv_device_read_register(device->GetArvDevice(), address, &value, nullptr));
    return value;
}

TEST(PlatformConnect, ConnectTakesControlAndOneControllerOnly) {
    auto sensor = start_sensor(kSensorAddress);
    DevicePtr device = connect(kSensorAddress);
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(device->IsConnected());
    ASSERT_NE(device->GetParameters(), nullptr);
    EXPECT_GT(device->GetParameters()->GetCount(), 20u);
    EXPECT_NE(device->GetParameters()->Get("Width"), nullptr);
    EXPECT_NE(dynamic_cast<PvDeviceGEV*>(device.get()), nullptr);
    EXPECT_NE(read_register(device.get(), gvcp::REG_CCP) & 0x3u, 0u) << "control privilege held";

    PvResult result;
    DevicePtr second(PvDevice::CreateAndConnect(PvString(kSensorAddress), &result));
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(result.GetCode(), PvResult::ACCESS_DENIED);

    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_FALSE(device->IsConnected());
    EXPECT_EQ(device->GetParameters(), nullptr);
    EXPECT_EQ(device->Disconnect().GetCode(), PvResult::NOT_CONNECTED);

    DevicePtr again = connect(kSensorAddress);
    EXPECT_NE(again, nullptr) << "control was released";
}

TEST(PlatformConnect, BadAddressesFailWithoutTraffic) {
    struct Case {
        const char* interface_ip;
        const char* device_ip;
    };
    // 10.255.255.1 is no address of this host: refused before Aravis runs.
    const Case cases[] = {{"10.255.255.1", "127.0.46.2"}, {"127.0.0.1", "not an address"}, {"", "127.0.46.2"}};
    for (const Case& c : cases) {
        PvResult result;
        EXPECT_EQ(PvDeviceGEV::Connect(c.interface_ip, c.device_ip, &result), nullptr);
        EXPECT_EQ(result.GetCode(), PvResult::INVALID_PARAMETER) << c.interface_ip << " " << c.device_ip;
    }
    PvResult result;
    EXPECT_EQ(PvDevice::CreateAndConnect(PvString("300.1.1.1"), &result), nullptr);
    EXPECT_EQ(result.GetCode(), PvResult::INVALID_PARAMETER);
    EXPECT_EQ(PvDevice::CreateAndConnect(static_cast<const PvDeviceInfo*>(nullptr), &result), nullptr);
    EXPECT_EQ(result.GetCode(), PvResult::INVALID_PARAMETER);
    EXPECT_EQ(PvStream::CreateAndOpen(static_cast<const PvDeviceInfo*>(nullptr), &result), nullptr);
    EXPECT_EQ(result.GetCode(), PvResult::INVALID_PARAMETER);
}

TEST(PlatformConnect, SilentAddressTimesOutWithAReason) {
    const auto start = std::chrono::steady_clock::now();
    PvResult result;
    DevicePtr device(PvDevice::CreateAndConnect(PvString(kSilentAddress), &result));
    EXPECT_EQ(device, nullptr);
    EXPECT_TRUE(result.IsFailure());
    EXPECT_GT(result.GetDescription().GetLength(), 0u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(PlatformConnect, DumpWritesTheDescriptionPlainOrZipped) {
    auto sensor = start_sensor(kZippedSensorAddress, true);
    DevicePtr device = connect(kZippedSensorAddress);
    ASSERT_NE(device, nullptr);
    size_t size = 0;
    const char* xml = arv_device_get_genicam_xml(device->GetArvDevice(), &size);
    ASSERT_NE(xml, nullptr);
    std::string expected(xml, size);
    while (!expected.empty() && expected.back() == '\0') expected.pop_back();
    ASSERT_NE(expected.find("<RegisterDescription"), std::string::npos);

    platform_test::TempFile plain("dump.xml");
    ASSERT_TRUE(device->DumpGenICamXML(plain.path()).IsOK());
    EXPECT_EQ(plain.read(), expected);

    // The archive is read back with Aravis's own zip reader.
    platform_test::TempFile zipped("dump.xml.zip");
    ASSERT_TRUE(device->DumpGenICamXML(zipped.path()).IsOK());
    const std::string archive = zipped.read();
    ArvZip* zip = arv_zip_new(archive.data(), archive.size());
    ASSERT_NE(zip, nullptr);
    const GSList* files = arv_zip_get_file_list(zip);
    ASSERT_NE(files, nullptr);
    const char* entry_name = arv_zip_file_get_name(static_cast<ArvZipFile*>(files->data));
    EXPECT_STREQ(entry_name, ("ornc_platform_" + std::to_string(getpid()) + "_dump.xml").c_str());
    size_t unpacked_size = 0;
    void* unpacked = arv_zip_get_file(zip, entry_name, &unpacked_size);
    ASSERT_NE(unpacked, nullptr);
    EXPECT_EQ(std::string(static_cast<const char*>(unpacked), unpacked_size), expected);
    g_free(unpacked);
    arv_zip_free(zip);

    // The dumped file parses as a node map with the device's features.
    ArvGc* reparsed = arv_gc_new(nullptr, expected.data(), expected.size());
    ASSERT_NE(reparsed, nullptr);
    EXPECT_NE(arv_gc_get_node(reparsed, "Width"), nullptr);
    g_object_unref(reparsed);

    EXPECT_TRUE(device->DumpGenICamXML("/nonexistent-directory/dump.xml").IsFailure());
    EXPECT_EQ(device->DumpGenICamXML("").GetCode(), PvResult::INVALID_PARAMETER);
}

TEST(PlatformConnect, CommunicationMapShowsTheConnectionAndWritesTheHeartbeat) {
    auto sensor = start_sensor(kSensorAddress);
    DevicePtr device = connect(kSensorAddress);
    ASSERT_NE(device, nullptr);
    PvGenParameterArray* communication = device->GetCommunicationParameters();
    ASSERT_NE(communication, nullptr);
    PvString text;
    ASSERT_TRUE(communication->Get("DeviceIPAddress")->ToString(text).IsOK());
    EXPECT_EQ(text, kSensorAddress);

    PvGenInteger* heartbeat = dynamic_cast<PvGenInteger*>(communication->Get("HeartbeatTimeout"));
    ASSERT_NE(heartbeat, nullptr);
    int64_t value = 0;
    ASSERT_TRUE(heartbeat->GetValue(value).IsOK());
    EXPECT_EQ(value, read_register(device.get(), gvcp::REG_HEARTBEAT_TIMEOUT)) << "read from the device";
    EXPECT_TRUE(heartbeat->IsWritable());
    ASSERT_TRUE(heartbeat->SetValue(4321).IsOK());
    EXPECT_EQ(read_register(device.get(), gvcp::REG_HEARTBEAT_TIMEOUT), 4321u);

    PvGenInteger* timeout = dynamic_cast<PvGenInteger*>(communication->Get("AnswerTimeout"));
    ASSERT_NE(timeout, nullptr);
    EXPECT_TRUE(timeout->IsReadable());
    EXPECT_FALSE(timeout->IsWritable());
    EXPECT_EQ(timeout->SetValue(10).GetCode(), PvResult::ACCESS_DENIED);
    ASSERT_TRUE(timeout->GetValue(value).IsOK());
    EXPECT_EQ(value, 500);
    communication->Get("AnswerTimeout")->GetCategory(text);
    EXPECT_EQ(text, "Root\\Communication");
}

TEST(PlatformConnect, PayloadSizeAndPacketSize) {
    auto sensor = start_sensor(kSensorAddress);
    DevicePtr device = connect(kSensorAddress);
    ASSERT_NE(device, nullptr);
    PvGenInteger* payload = dynamic_cast<PvGenInteger*>(device->GetParameters()->Get("PayloadSize"));
    ASSERT_NE(payload, nullptr);
    int64_t expected = 0;
    ASSERT_TRUE(payload->GetValue(expected).IsOK());
    EXPECT_GT(expected, 0);
    EXPECT_EQ(device->GetPayloadSize(), static_cast<uint32_t>(expected));

    PvDeviceGEV* gev = dynamic_cast<PvDeviceGEV*>(device.get());
    ASSERT_NE(gev, nullptr);
    EXPECT_EQ(gev->NegotiatePacketSize(1, 0).GetCode(), PvResult::NOT_SUPPORTED);
    PvResult negotiated = gev->NegotiatePacketSize(0, 1400);
    const uint32_t packet_size = read_register(device.get(), gvcp::REG_SCPS0) & gvcp::SCPS_PACKET_SIZE_MASK;
    if (negotiated.IsOK()) {
        EXPECT_GE(packet_size, 576u);
    } else {
        EXPECT_EQ(packet_size, 1400u) << "fallback set: " << negotiated.GetDescription().GetAscii();
    }
}

TEST(PlatformStream, OpensOnTheConnectedDeviceAndPointsItAtTheHost) {
    auto sensor = start_sensor(kSensorAddress);
    PvResult result;
    EXPECT_EQ(PvStream::CreateAndOpen(PvString(kSensorAddress), &result), nullptr);
    EXPECT_EQ(result.GetCode(), PvResult::NOT_CONNECTED) << "no device connected yet";

    DevicePtr device = connect(kSensorAddress);
    ASSERT_NE(device, nullptr);
    StreamPtr stream(PvStream::CreateAndOpen(PvString(kSensorAddress), &result));
    ASSERT_NE(stream, nullptr) << result.GetDescription().GetAscii();
    PvStreamGEV* gev = dynamic_cast<PvStreamGEV*>(stream.get());
    ASSERT_NE(gev, nullptr);
    EXPECT_NE(gev->GetLocalPort(), 0);
    EXPECT_EQ(gev->GetLocalIPAddress(), dynamic_cast<PvDeviceGEV*>(device.get())->GetLocalIPAddress());

    // The device now sends to the stream's socket.
    EXPECT_EQ(read_register(device.get(), gvcp::REG_SCP0) & gvcp::SCP_PORT_MASK, gev->GetLocalPort());
    PvDeviceGEV* device_gev = dynamic_cast<PvDeviceGEV*>(device.get());
    ASSERT_TRUE(device_gev->SetStreamDestination("127.0.46.9", 4567, 0).IsOK());
    EXPECT_EQ(read_register(device.get(), gvcp::REG_SCDA0), 0x7F002E09u);
    EXPECT_EQ(read_register(device.get(), gvcp::REG_SCP0) & gvcp::SCP_PORT_MASK, 4567u);
    EXPECT_EQ(device_gev->SetStreamDestination("127.0.46.9", 4567, 7).GetCode(), PvResult::INVALID_PARAMETER);
    EXPECT_EQ(device_gev->SetStreamDestination("host", 4567, 0).GetCode(), PvResult::INVALID_PARAMETER);
    ASSERT_TRUE(device_gev->SetStreamDestination(gev->GetLocalIPAddress(), gev->GetLocalPort(), 0).IsOK());

    PvGenParameterArray* params = stream->GetParameters();
    ASSERT_NE(params, nullptr);
    PvString text;
    ASSERT_TRUE(params->Get("LocalPort")->ToString(text).IsOK());
    EXPECT_EQ(text, std::to_string(gev->GetLocalPort()));
    for (const char* name : {"AcquisitionRate", "Bandwidth", "BlockCount", "BlocksDropped", "ResendRequests"}) {
        PvGenParameter* parameter = params->Get(name);
        ASSERT_NE(parameter, nullptr) << name;
        EXPECT_TRUE(parameter->IsReadable()) << name;
        EXPECT_FALSE(parameter->IsWritable()) << name;
        EXPECT_TRUE(parameter->ToString(text).IsOK()) << name;
    }
    EXPECT_EQ(dynamic_cast<PvGenInteger*>(params->Get("BlockCount"))->SetValue(3).GetCode(), PvResult::ACCESS_DENIED);
    EXPECT_TRUE(stream->Close().IsOK());
    EXPECT_EQ(stream->GetParameters(), nullptr);
    EXPECT_EQ(stream->Close().GetCode(), PvResult::NOT_CONNECTED);
}

TEST(PlatformStream, QueueKeepsARecordOfEveryBuffer) {
    auto sensor = start_sensor(kSensorAddress);
    DevicePtr device = connect(kSensorAddress);
    ASSERT_NE(device, nullptr);
    PvResult result;
    StreamPtr stream(PvStream::CreateAndOpen(PvString(kSensorAddress), &result));
    ASSERT_NE(stream, nullptr);

    PvBuffer unallocated;
    EXPECT_EQ(stream->QueueBuffer(nullptr).GetCode(), PvResult::INVALID_PARAMETER);
    EXPECT_EQ(stream->QueueBuffer(&unallocated).GetCode(), PvResult::INVALID_PARAMETER);
    EXPECT_EQ(unallocated.Alloc(0).GetCode(), PvResult::INVALID_PARAMETER);

    const uint32_t size = device->GetPayloadSize();
    std::vector<std::unique_ptr<PvBuffer>> buffers;
    for (uint32_t i = 0; i < stream->GetQueuedBufferMaximum(); ++i) {
        buffers.emplace_back(new PvBuffer(PvPayloadTypeImage));
        ASSERT_TRUE(buffers.back()->Alloc(size).IsOK());
        EXPECT_EQ(buffers.back()->GetSize(), size);
        EXPECT_EQ(PvBuffer::FromArvBuffer(buffers.back()->GetArvBuffer()), buffers.back().get());
        ASSERT_TRUE(stream->QueueBuffer(buffers.back().get()).IsOK());
    }
    EXPECT_EQ(stream->QueueBuffer(buffers[0].get()).GetCode(), PvResult::INVALID_PARAMETER) << "already queued";
    PvBuffer extra;
    ASSERT_TRUE(extra.Alloc(size).IsOK());
    EXPECT_EQ(stream->QueueBuffer(&extra).GetCode(), PvResult::GENERIC_ERROR) << "queue full";
    EXPECT_EQ(stream->GetQueuedBufferCount(), stream->GetQueuedBufferMaximum());
    EXPECT_EQ(buffers[0]->Alloc(size).GetCode(), PvResult::GENERIC_ERROR) << "no re-allocation while queued";

    PvString text;
    ASSERT_TRUE(stream->GetParameters()->Get("QueuedBufferCount")->ToString(text).IsOK());
    EXPECT_EQ(text, std::to_string(stream->GetQueuedBufferMaximum()));

    ASSERT_TRUE(stream->Close().IsOK());
    for (const auto& buffer : buffers) {
        EXPECT_FALSE(buffer->IsQueued());
    }
    EXPECT_TRUE(buffers[0]->Alloc(size / 2 + 1).IsOK()) << "released by Close";
    EXPECT_EQ(stream->QueueBuffer(buffers[0].get()).GetCode(), PvResult::NOT_CONNECTED);
}

TEST(PlatformStream, BufferDeletedWhileQueuedLeavesTheStreamSafe) {
    auto sensor = start_sensor(kSensorAddress);
    DevicePtr device = connect(kSensorAddress);
    ASSERT_NE(device, nullptr);
    PvResult result;
    StreamPtr stream(PvStream::CreateAndOpen(PvString(kSensorAddress), &result));
    ASSERT_NE(stream, nullptr);
    PvBuffer* buffer = new PvBuffer;
    ASSERT_TRUE(buffer->Alloc(4096).IsOK());
    ArvBuffer* wrapper = buffer->GetArvBuffer();
    g_object_ref(wrapper);
    ASSERT_TRUE(stream->QueueBuffer(buffer).IsOK());
    delete buffer;
    EXPECT_EQ(PvBuffer::FromArvBuffer(wrapper), nullptr) << "the orphan no longer maps back";
    // Aravis may still write into the memory: it lives with the wrapper
    // (a sanitizer build catches a write into freed memory here).
    size_t size = 0;
    void* data = const_cast<void*>(arv_buffer_get_data(wrapper, &size));
    ASSERT_NE(data, nullptr);
    std::memset(data, 0xAB, 4096);
    stream.reset();
    g_object_unref(wrapper);
}

TEST(PlatformConnect, TwoHundredCyclesLeaveNoDescriptorOrThread) {
    auto sensor = start_sensor(kSensorAddress);
    {
        // Warm up once: GLib and Aravis create process-wide helpers on
        // first use.
        DevicePtr device = connect(kSensorAddress);
        ASSERT_NE(device, nullptr);
    }
    const int descriptors = platform_test::open_file_descriptors();
    const int threads = platform_test::settled_threads(0, std::chrono::milliseconds(0));
    for (int cycle = 0; cycle < 200; ++cycle) {
        PvResult result;
        DevicePtr device(PvDevice::CreateAndConnect(PvString(kSensorAddress), &result));
        ASSERT_NE(device, nullptr) << "cycle " << cycle << ": " << result.GetDescription().GetAscii();
        StreamPtr stream(PvStream::CreateAndOpen(PvString(kSensorAddress), &result));
        ASSERT_NE(stream, nullptr) << "cycle " << cycle << ": " << result.GetDescription().GetAscii();
        PvBuffer buffer;
        ASSERT_TRUE(buffer.Alloc(device->GetPayloadSize()).IsOK());
        ASSERT_TRUE(stream->QueueBuffer(&buffer).IsOK());
        stream.reset();
        ASSERT_TRUE(device->Disconnect().IsOK());
    }
    EXPECT_EQ(platform_test::open_file_descriptors(), descriptors);
    EXPECT_LE(platform_test::settled_threads(threads, std::chrono::seconds(2)), threads);
}

}  // namespace
