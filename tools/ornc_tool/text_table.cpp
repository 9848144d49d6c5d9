#include "text_table.h"

#include <algorithm>

namespace ornctool {

void TextTable::print(FILE* out, const std::string& indent) const {
    std::vector<size_t> widths(header_.size(), 0);
    auto measure = [&widths](const std::vector<std::string>& row) {
        for (size_t c = 0; c < row.size() && c < widths.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
    };
    measure(header_);
    for (const Row& row : rows_) {
        if (!row.heading) measure(row.cells);
    }
    auto print_row = [&](const std::vector<std::string>& row) {
        std::string line = indent;
        for (size_t c = 0; c < widths.size(); ++c) {
            const std::string cell = c < row.size() ? row[c] : "";
            line += cell;
            if (c + 1 < widths.size()) line += std::string(widths[c] - cell.size() + 2, ' ');
        }
        while (!line.empty() && line.back() == ' ') line.pop_back();
        std::fprintf(out, "%s\n", line.c_str());
    };
    if (!header_.empty() && !header_[0].empty()) print_row(header_);
    for (const Row& row : rows_) {
        if (row.heading) {
            std::fprintf(out, "%s\n", row.cells[0].c_str());
        } else {
            print_row(row.cells);
        }
    }
}

}  // namespace ornctool
