// Packs a GenICam file into a one-entry zip archive (deflate), the form a
// device may serve instead of the plain file to save read time.
#ifndef ORNSIM_XML_ARCHIVE_H
#define ORNSIM_XML_ARCHIVE_H

#include <cstdint>
#include <string>
#include <vector>

namespace ornsim {

// False (and an empty archive) if compression fails.
bool zip_single_file(const std::string& file_name, const std::string& content, std::vector<uint8_t>* archive);

}  // namespace ornsim

#endif  // ORNSIM_XML_ARCHIVE_H
