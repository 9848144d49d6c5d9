// A table of text printed with its columns aligned. A header whose first
// cell is empty is not printed (a list of fields).
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace ornctool {

class TextTable {
public:
    explicit TextTable(std::vector<std::string> header) : header_(std::move(header)) {}
    void add(std::vector<std::string> row) { rows_.push_back({false, std::move(row)}); }
    // A line printed as it stands between the rows (a heading); it does
    // not count towards the column widths.
    void add_heading(std::string text) { rows_.push_back({true, {std::move(text)}}); }
    size_t size() const { return rows_.size(); }
    // Each row starts with `indent` (headings do not); the last column is
    // not padded.
    void print(FILE* out, const std::string& indent = "") const;

private:
    std::vector<std::string> header_;
    struct Row {
        bool heading;
        std::vector<std::string> cells;
    };
    std::vector<Row> rows_;
};

}  // namespace ornctool
