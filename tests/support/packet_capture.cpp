#include "packet_capture.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "private_network.h"
#include "run_program.h"
#include "temp_dir.h"

namespace orntest {

std::string tshark_program() { return ORNC_TSHARK; }

PacketCapture::PacketCapture(const std::string& adapter, const std::string& file) {
    if (tshark_program().empty()) return;
    pid_ = spawn({tshark_program(), "-q", "-i", adapter, "-w", file});
    // The file gets its header once the adapter is open.
    for (int waited = 0; waited < 100 && pid_ > 0 && !ok_; ++waited) {
        ::usleep(50000);
        ok_ = !read_file(file).empty();
    }
}

void PacketCapture::stop() {
    if (pid_ <= 0) return;
    ::usleep(300000);
    end_child(pid_);
    pid_ = -1;
}

namespace {

ProgramResult read_capture(const std::string& file, std::vector<std::string> args,
                           const std::vector<std::string>& decode_as) {
    args.insert(args.begin(), {"-n", "-r", file});
    for (const std::string& rule : decode_as) args.insert(args.end(), {"-d", rule});
    return run_program(tshark_program(), args, {}, 120.0);
}

}  // namespace

std::vector<long> count_frames(const std::string& file, const std::vector<std::string>& filters,
                               const std::vector<std::string>& decode_as) {
    std::string statistic = "io,stat,0";
    for (const std::string& filter : filters) statistic += "," + filter;
    const ProgramResult result = read_capture(file, {"-q", "-z", statistic}, decode_as);
    // The one interval's row: "| 0.000 <> 4.2 | frames | bytes | frames | bytes ...".
    std::vector<long> counts;
    if (result.exit_code != 0) return counts;
    for (const std::string& line : lines_of(result.out)) {
        if (line.find("<>") == std::string::npos) continue;
        std::istringstream cells(line);
        std::string cell;
        counts.clear();
        for (int column = 0; std::getline(cells, cell, '|'); ++column) {
            if (column >= 2 && column % 2 == 0) counts.push_back(std::strtol(cell.c_str(), nullptr, 10));
        }
    }
    if (counts.size() != filters.size()) counts.clear();
    return counts;
}

std::vector<std::string> field_values(const std::string& file, const std::string& field, const std::string& filter,
                                      const std::vector<std::string>& decode_as) {
    const ProgramResult result = read_capture(file, {"-Y", filter, "-T", "fields", "-e", field}, decode_as);
    std::vector<std::string> values;
    for (const std::string& line : lines_of(result.out)) {
        if (!line.empty() && std::find(values.begin(), values.end(), line) == values.end()) values.push_back(line);
    }
    return values;
}

}  // namespace orntest
