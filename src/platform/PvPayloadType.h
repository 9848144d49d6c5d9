// What a stream buffer carries. Image (1) is what connect allocates its
// buffers for; multipart frames arrive in the same buffers.
#pragma once

enum PvPayloadType {
    PvPayloadTypeNone = 0,
    PvPayloadTypeImage = 1,
    PvPayloadTypeRawData = 2,
    PvPayloadTypeChunkData = 4,
    PvPayloadTypeMultiPart = 10,
    PvPayloadTypeUndefined = 999,
};
