// A way to reach devices (for GigE Vision: a network adapter) and the
// devices discovery found through it. Owned by its PvSystem; owns its
// device records.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/PvDeviceInfo.h"
#include "platform/PvString.h"

class PvInterface {
public:
    virtual ~PvInterface() = default;
    PvInterface(const PvInterface&) = delete;
    PvInterface& operator=(const PvInterface&) = delete;

    const PvString& GetName() const { return name_; }
    uint32_t GetDeviceCount() const { return static_cast<uint32_t>(devices_.size()); }
    // Null past the end.
    const PvDeviceInfo* GetDeviceInfo(uint32_t index) const {
        return index < devices_.size() ? devices_[index].get() : nullptr;
    }

protected:
    PvInterface() = default;

    PvString name_;
    std::vector<std::unique_ptr<PvDeviceInfo>> devices_;
};
