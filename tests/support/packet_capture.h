// Captures read by Wireshark's dissectors (tshark): a capture running on an
// adapter while a test drives its peers, and the number of captured frames
// that match display filters. Without tshark, tshark_program() is "" and
// the caller skips.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace orntest {

// The tshark found when the tests were configured, or "".
std::string tshark_program();

// tshark capturing every frame of `adapter` into `file` until stop() or
// scope end. ok() once the capture has begun.
class PacketCapture {
public:
    PacketCapture(const std::string& adapter, const std::string& file);
    ~PacketCapture() { stop(); }
    PacketCapture(const PacketCapture&) = delete;
    PacketCapture& operator=(const PacketCapture&) = delete;

    bool ok() const { return ok_; }
    // Lets the frames on their way arrive, then ends the capture.
    void stop();

private:
    pid_t pid_ = -1;
    bool ok_ = false;
};

// Frames of `file` matching each display filter (no commas in a filter),
// dissected with the `decode_as` rules ("udp.port==N,gvsp"); empty when
// tshark cannot read the file.
std::vector<long> count_frames(const std::string& file, const std::vector<std::string>& filters,
                               const std::vector<std::string>& decode_as = {});

// The distinct values of `field` in the frames of `file` that match `filter`.
std::vector<std::string> field_values(const std::string& file, const std::string& field, const std::string& filter,
                                      const std::vector<std::string>& decode_as = {});

}  // namespace orntest
