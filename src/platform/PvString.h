// Text value of the transport layer: owns its characters, never null.
#pragma once

#include <string>

class PvString {
public:
    PvString() = default;
    PvString(const char* text) : text_(text != nullptr ? text : "") {}  // NOLINT: implicit by design
    PvString(std::string text) : text_(std::move(text)) {}              // NOLINT: implicit by design

    // Valid while this object lives and is not assigned to.
    const char* GetAscii() const { return text_.c_str(); }
    size_t GetLength() const { return text_.size(); }
    const std::string& str() const { return text_; }

    bool operator==(const PvString& other) const { return text_ == other.text_; }
    bool operator!=(const PvString& other) const { return text_ != other.text_; }

private:
    std::string text_;
};
