// A zip archive holding one deflated file: the form in which a GenICam
// description is served by a device or saved for a caller who asks for a
// ".zip" file. GenICam readers accept it.
#pragma once

#include <cstdint>
#include <string>

namespace wire {

// The archive's bytes, or an empty string on bad input (an empty name, a
// name of 64 KiB or more, content of 2 GiB or more) or when compression
// fails. The entry carries no meaningful time stamp (1980-01-01).
std::string zip_single_file(const std::string& entry_name, const std::string& content);

}  // namespace wire
