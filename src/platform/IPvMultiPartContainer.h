// The parts of a received multipart frame, in the order the device sent
// them. Owned by the buffer; valid until the buffer is queued again,
// reset, freed or deleted.
#pragma once

#include <cstdint>

#include "platform/IPvMultiPartSection.h"

class IPvMultiPartContainer {
public:
    virtual ~IPvMultiPartContainer() = default;

    virtual uint32_t GetPartCount() const = 0;
    // Null past the end.
    virtual IPvMultiPartSection* GetPart(uint32_t index) = 0;
};
