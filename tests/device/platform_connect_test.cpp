// Connecting, the description dump, the communication and stream node
// maps and buffers, against the virtual sensor with its built-in
// description over real UDP on loopback. (Leaks over many connect cycles
// are watched by camera_cycles_test, whose connect runs this same path.)
#include <arv.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform_test_support.h"
#include "temp_dir.h"

namespace {

using platform_test::DevicePtr;
using platform_test::got;
using platform_test::read_register;
using platform_test::StreamPtr;

constexpr const char* kSensorAddress = "127.0.46.2";
constexpr const char* kZippedSensorAddress = "127.0.46.3";
constexpr const char* kSilentAddress = "127.0.46.4";  // nothing listens here

std::unique_ptr<orntest::SensorScope> start_sensor(const char* address, bool zipped = false) {
    ornsim::SensorConfig config;
    config.address = address;
    config.zipped_xml = zipped;
    auto sensor = std::make_unique<orntest::SensorScope>(config, false);
    EXPECT_TRUE(sensor->ok()) << sensor->error();
    return sensor;
}

DevicePtr connect(const char* address) {
    PvResult result;
    DevicePtr device(PvDevice::CreateAndConnect(PvString(address), &result));
    EXPECT_NE(device, nullptr) << platform_test::describe(result);
    return device;
}

TEST(PlatformConnect, ConnectTakesControlOneControllerOnlyAndSetsThePacketSizeAndTheCommunicationMap) {
    auto sensor = start_sensor(kSensorAddress);
    DevicePtr device = connect(kSensorAddress);
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(device->IsConnected());
    ASSERT_NE(device->GetParameters(), nullptr);
    PvDeviceGEV* gev = dynamic_cast<PvDeviceGEV*>(device.get());
    ASSERT_NE(gev, nullptr);
    EXPECT_NE(read_register(device.get(), gvcp::REG_CCP) & 0x3u, 0u) << "control privilege held";

    PvGenInteger* payload = dynamic_cast<PvGenInteger*>(device->GetParameters()->Get("PayloadSize"));
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(device->GetPayloadSize(), got<int64_t>(payload, &PvGenInteger::GetValue, -1));
    EXPECT_GT(device->GetPayloadSize(), 0u);
    EXPECT_EQ(gev->NegotiatePacketSize(1, 0).GetCode(), PvResult::NOT_SUPPORTED);
    PvResult negotiated = gev->NegotiatePacketSize(0, 1400);
    const uint32_t packet_size = read_register(device.get(), gvcp::REG_SCPS0) & gvcp::SCPS_PACKET_SIZE_MASK;
    if (negotiated.IsOK()) {
        EXPECT_GE(packet_size, 576u);
    } else {
        EXPECT_EQ(packet_size, 1400u) << "fallback set: " << negotiated.GetDescription().GetAscii();
    }

    // The communication map shows the connection and writes the heartbeat.
    PvGenParameterArray* communication = device->GetCommunicationParameters();
    ASSERT_NE(communication, nullptr);
    EXPECT_EQ(got<PvString>(communication->Get("DeviceIPAddress"), &PvGenParameter::ToString), kSensorAddress);

    PvGenInteger* heartbeat = dynamic_cast<PvGenInteger*>(communication->Get("HeartbeatTimeout"));
    ASSERT_NE(heartbeat, nullptr);
    const int64_t heartbeat_ms = read_register(device.get(), gvcp::REG_HEARTBEAT_TIMEOUT);
    EXPECT_EQ(got<int64_t>(heartbeat, &PvGenInteger::GetValue), heartbeat_ms) << "read from the device";
    EXPECT_TRUE(heartbeat->IsWritable());
    ASSERT_TRUE(heartbeat->SetValue(4321).IsOK());
    EXPECT_EQ(read_register(device.get(), gvcp::REG_HEARTBEAT_TIMEOUT), 4321u);

    PvGenInteger* timeout = dynamic_cast<PvGenInteger*>(communication->Get("AnswerTimeout"));
    ASSERT_NE(timeout, nullptr);
    EXPECT_TRUE(timeout->IsReadable());
    EXPECT_FALSE(timeout->IsWritable());
    EXPECT_EQ(timeout->SetValue(10).GetCode(), PvResult::ACCESS_DENIED);
    EXPECT_EQ(got<int64_t>(timeout, &PvGenInteger::GetValue), 500);
    EXPECT_EQ(got<PvString>(timeout, &PvGenParameter::GetCategory), "Root\\Communication");

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

TEST(PlatformConnect, BadAddressesFailWithoutTrafficAndASilentOneTimesOutWithAReason) {
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

    const auto start = std::chrono::steady_clock::now();
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
    const std::string expected = orntest::builtin_xml(sensor->config());

    orntest::TempWorkDir dir;
    ASSERT_TRUE(device->DumpGenICamXML(dir.file("dump.xml").c_str()).IsOK());
    EXPECT_EQ(orntest::read_file(dir.file("dump.xml")), expected);

    // The archive is read back with Aravis's own zip reader.
    ASSERT_TRUE(device->DumpGenICamXML(dir.file("dump.xml.zip").c_str()).IsOK());
    const std::string archive = orntest::read_file(dir.file("dump.xml.zip"));
    ArvZip* zip = arv_zip_new(archive.data(), archive.size());
    ASSERT_NE(zip, nullptr);
    const GSList* files = arv_zip_get_file_list(zip);
    ASSERT_NE(files, nullptr);
    const char* entry_name = arv_zip_file_get_name(static_cast<ArvZipFile*>(files->data));
    EXPECT_STREQ(entry_name, "dump.xml");
    size_t unpacked_size = 0;
    void* unpacked = arv_zip_get_file(zip, entry_name, &unpacked_size);
    ASSERT_NE(unpacked, nullptr);
    EXPECT_EQ(std::string(static_cast<const char*>(unpacked), unpacked_size), expected);
    g_free(unpacked);
    arv_zip_free(zip);

    EXPECT_EQ(device->DumpGenICamXML("").GetCode(), PvResult::INVALID_PARAMETER);
}

TEST(PlatformStream, OpensOnTheConnectedDevicePointsItAtTheHostQueuesUpToItsMaximumAndClosesOverADeletedBuffer) {
    auto sensor = start_sensor(kSensorAddress);
    PvResult result;
    EXPECT_EQ(PvStream::CreateAndOpen(PvString(kSensorAddress), &result), nullptr);
    EXPECT_EQ(result.GetCode(), PvResult::NOT_CONNECTED) << "no device connected yet";

    DevicePtr device = connect(kSensorAddress);
    ASSERT_NE(device, nullptr);
    StreamPtr first(PvStream::CreateAndOpen(PvString(kSensorAddress), &result));
    ASSERT_NE(first, nullptr) << result.GetDescription().GetAscii();
    EXPECT_TRUE(first->Close().IsOK());
    EXPECT_EQ(read_register(device.get(), gvcp::REG_SCP0), 0u) << "a closed stream closes the device's channel";
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
    EXPECT_EQ(got<PvString>(params->Get("LocalPort"), &PvGenParameter::ToString), std::to_string(gev->GetLocalPort()));
    PvString text;
    for (const char* name : {"AcquisitionRate", "Bandwidth", "BlockCount", "BlocksDropped", "ResendRequests"}) {
        PvGenParameter* parameter = params->Get(name);
        ASSERT_NE(parameter, nullptr) << name;
        EXPECT_TRUE(parameter->IsReadable()) << name;
        EXPECT_FALSE(parameter->IsWritable()) << name;
        EXPECT_TRUE(parameter->ToString(text).IsOK()) << name;
    }
    EXPECT_EQ(dynamic_cast<PvGenInteger*>(params->Get("BlockCount"))->SetValue(3).GetCode(), PvResult::ACCESS_DENIED);

    // The queue keeps a record of every buffer, up to its maximum.
    PvBuffer unallocated;
    EXPECT_EQ(stream->QueueBuffer(nullptr).GetCode(), PvResult::INVALID_PARAMETER);
    EXPECT_EQ(stream->QueueBuffer(&unallocated).GetCode(), PvResult::INVALID_PARAMETER);
    EXPECT_EQ(unallocated.Alloc(0).GetCode(), PvResult::INVALID_PARAMETER);
    // A buffer deleted while queued leaves the stream safe: Aravis may
    // still write into the memory, which lives with the wrapper (a
    // sanitizer build catches a write into freed memory here).
    PvBuffer* orphan = new PvBuffer;
    ASSERT_TRUE(orphan->Alloc(4096).IsOK());
    ArvBuffer* wrapper = orphan->GetArvBuffer();
    g_object_ref(wrapper);
    ASSERT_TRUE(stream->QueueBuffer(orphan).IsOK());
    delete orphan;
    EXPECT_EQ(PvBuffer::FromArvBuffer(wrapper), nullptr) << "the orphan no longer maps back";
    size_t size = 0;
    void* data = const_cast<void*>(arv_buffer_get_data(wrapper, &size));
    ASSERT_NE(data, nullptr);
    std::memset(data, 0xAB, 4096);
    const uint32_t payload = device->GetPayloadSize();
    std::vector<std::unique_ptr<PvBuffer>> buffers;
    for (uint32_t i = 1; i < stream->GetQueuedBufferMaximum(); ++i) {
        buffers.emplace_back(new PvBuffer(PvPayloadTypeImage));
        ASSERT_TRUE(buffers.back()->Alloc(payload).IsOK());
        EXPECT_EQ(buffers.back()->GetSize(), payload);
        EXPECT_EQ(PvBuffer::FromArvBuffer(buffers.back()->GetArvBuffer()), buffers.back().get());
        ASSERT_TRUE(stream->QueueBuffer(buffers.back().get()).IsOK());
    }
    EXPECT_EQ(stream->QueueBuffer(buffers[0].get()).GetCode(), PvResult::INVALID_PARAMETER) << "already queued";
    PvBuffer extra;
    ASSERT_TRUE(extra.Alloc(payload).IsOK());
    EXPECT_EQ(stream->QueueBuffer(&extra).GetCode(), PvResult::GENERIC_ERROR) << "queue full";
    EXPECT_EQ(stream->GetQueuedBufferCount(), stream->GetQueuedBufferMaximum());
    EXPECT_EQ(buffers[0]->Alloc(payload).GetCode(), PvResult::GENERIC_ERROR) << "no re-allocation while queued";
    EXPECT_EQ(got<PvString>(params->Get("QueuedBufferCount"), &PvGenParameter::ToString),
              std::to_string(stream->GetQueuedBufferMaximum()));

    // A stream that outlives the connection holds control until it closes,
    // which releases every buffer.
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_TRUE(stream->Close().IsOK());
    for (const auto& buffer : buffers) {
        EXPECT_FALSE(buffer->IsQueued());
    }
    EXPECT_TRUE(buffers[0]->Alloc(payload / 2 + 1).IsOK()) << "released by Close";
    EXPECT_EQ(stream->QueueBuffer(buffers[0].get()).GetCode(), PvResult::NOT_CONNECTED);
    EXPECT_EQ(stream->GetParameters(), nullptr);
    EXPECT_EQ(stream->Close().GetCode(), PvResult::NOT_CONNECTED);
    g_object_unref(wrapper);
    EXPECT_NE(connect(kSensorAddress), nullptr) << "closing the stream released control";
}

}  // namespace
