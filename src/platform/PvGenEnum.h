// An enumeration feature. Its entries are kept in document order (the
// order of the device's description file), whatever order the node map
// lists them in.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/PvGenEnumEntry.h"
#include "platform/PvGenParameter.h"

class PvGenEnum : public PvGenParameter {
public:
    ~PvGenEnum() override;

    PvResult GetValue(int64_t& value) const;
    PvResult GetValue(PvString& value) const;
    PvResult SetValue(int64_t value);
    PvResult SetValue(const PvString& value);

    PvResult GetEntriesCount(int64_t& count) const;
    // NOT_FOUND for an index out of range or an unknown name/value; the
    // entry pointer stays valid as long as the enumeration.
    PvResult GetEntryByIndex(int64_t index, const PvGenEnumEntry** entry) const;
    PvResult GetEntryByName(const PvString& name, const PvGenEnumEntry** entry) const;
    PvResult GetEntryByValue(int64_t value, const PvGenEnumEntry** entry) const;

private:
    friend class PvGenParameterArray;
    friend class PvGenEnumEntry;
    PvGenEnum(PvGenParameterArray* owner, ArvGcFeatureNode* node);

    std::vector<std::unique_ptr<PvGenEnumEntry>> entries_;
};
