// A zip archive holding one file, stored without compression: the form in
// which the device description is saved when the caller asks for a
// ".zip" file. Readers of GenICam description archives accept it.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// The archive's bytes. `entry_name` must be non-empty and shorter than
// 64 KiB; `content` must be below 4 GiB minus 64 KiB (no zip64). Empty on bad input.
std::string make_stored_zip(const std::string& entry_name, const std::string& content);

// CRC-32 as zip uses it (reflected polynomial 0xEDB88320).
uint32_t zip_crc32(const void* data, size_t size);

}  // namespace platform
