// An ordered list of borrowed parameter pointers (selector relations,
// event data). The list never owns the parameters: they belong to their
// PvGenParameterArray and stay valid as long as it lives.
#pragma once

#include <cstdint>
#include <vector>

class PvGenParameter;

class PvGenParameterList {
public:
    uint32_t GetSize() const { return static_cast<uint32_t>(items_.size()); }
    // Null past the end.
    PvGenParameter* GetItem(uint32_t index) const { return index < items_.size() ? items_[index] : nullptr; }
    void Add(PvGenParameter* parameter) { items_.push_back(parameter); }
    void Clear() { items_.clear(); }

private:
    std::vector<PvGenParameter*> items_;
};
