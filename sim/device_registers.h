// Address map of the virtual sensor beyond the bootstrap block: the device
// registers its GenICam file describes, the plain-memory range left to tests,
// and where the GenICam file itself lives. One place, used by the XML
// generator, the device model and the tests.
#ifndef ORNSIM_DEVICE_REGISTERS_H
#define ORNSIM_DEVICE_REGISTERS_H

#include <cstdint>

namespace ornsim {
namespace reg {

// Everything below kBootstrapEnd is the GigE Vision bootstrap block.
constexpr uint32_t kBootstrapEnd = 0x00010000;

// Device registers (32-bit big-endian unless noted "f64": IEEE double, big-endian, 8 bytes).
constexpr uint32_t kDeviceBase = 0x00010000;
constexpr uint32_t Width = 0x00010000;
constexpr uint32_t Height = 0x00010004;
constexpr uint32_t SensorWidth = 0x00010008;      // RO
constexpr uint32_t SensorHeight = 0x0001000C;     // RO
constexpr uint32_t PayloadSize = 0x00010010;      // RO, derived
constexpr uint32_t AcquisitionMode = 0x00010020;  // 0 Continuous, 1 SingleFrame, 2 MultiFrame
constexpr uint32_t AcquisitionFrameCount = 0x00010024;
constexpr uint32_t AcquisitionStart = 0x00010028;        // command: write 1
constexpr uint32_t AcquisitionStop = 0x0001002C;         // command: write 1
constexpr uint32_t AcquisitionFrameRate = 0x00010030;    // f64, Hz
constexpr uint32_t AcquisitionStatus = 0x00010038;       // RO, 1 while acquiring
constexpr uint32_t TriggerSelector = 0x00010040;         // 0 FrameStart
constexpr uint32_t TriggerMode = 0x00010044;             // 0 Off, 1 On
constexpr uint32_t TriggerSource = 0x00010048;           // 0 Software, n Action<n>
constexpr uint32_t TriggerSoftware = 0x0001004C;         // command: write 1
constexpr uint32_t TriggerActivation = 0x00010050;       // 0 RisingEdge
constexpr uint32_t ExposureTime = 0x00010060;            // f64, us
constexpr uint32_t Gain = 0x00010068;                    // f64, dB
constexpr uint32_t SourceSelector = 0x00010080;          // 0 Source0
constexpr uint32_t RegionSelector = 0x00010084;          // 0 Region0
constexpr uint32_t ComponentSelector = 0x00010088;       // Component index (components.h order)
constexpr uint32_t ComponentEnable = 0x00010090;         // + 4 * component index
constexpr uint32_t ComponentPixelFormat = 0x000100A0;    // + 4 * component index
constexpr uint32_t ComponentIDValue = 0x000100B0;        // + 4 * component index, RO
constexpr uint32_t Scan3dCoordinateScale = 0x000100C0;   // f64, mm per C16 unit
constexpr uint32_t Scan3dCoordinateOffset = 0x000100C8;  // f64, mm
constexpr uint32_t Scan3dInvalidDataValue = 0x000100D0;  // f64, RO
// Which coordinate's scale and offset the two registers above show: they
// sit at + kScan3dCoordinateStride * the selector's value. C (0) is Z of a
// Coord3D_C16 pixel; A and B (RO) take the pixel's column and row to X and Y.
constexpr uint32_t Scan3dCoordinateSelector = 0x000100D8;
constexpr uint32_t kScan3dCoordinateC = 0;
constexpr uint32_t kScan3dCoordinateA = 2;
constexpr uint32_t kScan3dCoordinateB = 3;
constexpr uint32_t kScan3dCoordinateStride = 0x10;
constexpr uint32_t ChunkModeActive = 0x00010100;
constexpr uint32_t ChunkSelector = 0x00010104;      // 0 Timestamp, 1 FrameID
constexpr uint32_t ChunkEnable = 0x00010108;        // + 4 * chunk index
constexpr uint32_t EventSelector = 0x00010120;      // 0 FrameEnd
constexpr uint32_t EventNotification = 0x00010124;  // + 4 * event index: 0 Off, 1 On
// Action signals: the selector (1..kActionSignalCount) picks the group key
// and mask of the bootstrap block that ActionGroupKey/Mask show.
constexpr uint32_t ActionSelector = 0x00010140;
// The device clock's PTP data set: a latch command copies the offset from the
// master (ns, signed) and the clock's identity to the registers after it.
constexpr uint32_t PtpDataSetLatch = 0x00010150;      // command: write 1
constexpr uint32_t PtpOffsetFromMaster = 0x00010158;  // 8 bytes, signed, RO
constexpr uint32_t PtpClockID = 0x00010160;           // 8 bytes, RO
constexpr uint32_t kDeviceEnd = 0x00010200;

constexpr uint32_t kComponentStride = 4;
constexpr uint32_t kChunkCount = 2;
constexpr uint32_t kEventCount = 1;

// Plain memory: the sensor stores and returns whatever is written here, so
// that a test's own GenICam file can describe features of its own.
constexpr uint32_t kPlainMemoryBase = 0x00100000;
constexpr uint32_t kPlainMemorySize = 0x00010000;

// The GenICam file (plain or zipped), read-only.
constexpr uint32_t kXmlBase = 0x00200000;
constexpr uint32_t kXmlMaxSize = 0x00100000;

// Enumeration values.
constexpr uint32_t kAcquisitionModeContinuous = 0;
constexpr uint32_t kAcquisitionModeSingleFrame = 1;
constexpr uint32_t kAcquisitionModeMultiFrame = 2;
constexpr uint32_t kChunkTimestamp = 0;
constexpr uint32_t kChunkFrameID = 1;
constexpr uint32_t kEventFrameEnd = 0;
constexpr uint32_t kTriggerSourceSoftware = 0;
constexpr uint32_t kTriggerSourceAction1 = 1;  // Action<n> is kTriggerSourceAction1 + n - 1
constexpr uint32_t kActionSignalCount = 4;
constexpr uint32_t kActionQueueSize = 16;
// Port states of the PTP clock (IEEE1588_STATUS).
constexpr uint32_t kPtpStateDisabled = 3;
constexpr uint32_t kPtpStateUncalibrated = 8;
constexpr uint32_t kPtpStateSlave = 9;

// Event id of FrameEnd on the message channel; its data is
// frame id (8 bytes, big-endian) then timestamp (8 bytes, big-endian).
constexpr uint16_t kEventIdFrameEnd = 0x9001;
constexpr uint32_t kEventFrameEndFrameIdOffset = 0;
constexpr uint32_t kEventFrameEndTimestampOffset = 8;
constexpr uint32_t kEventFrameEndDataSize = 16;

}  // namespace reg
}  // namespace ornsim

#endif  // ORNSIM_DEVICE_REGISTERS_H
