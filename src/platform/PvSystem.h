// Discovery over the host's network adapters. Owns the interfaces and,
// through them, the device records of the last successful Find. A new Find
// replaces the device records (earlier device pointers become invalid) but
// keeps each adapter's interface object, so interface pointers stay valid
// for the life of the system.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/PvInterface.h"
#include "platform/PvResult.h"

class PvSystem {
public:
    PvSystem() = default;
    virtual ~PvSystem() = default;
    PvSystem(const PvSystem&) = delete;
    PvSystem& operator=(const PvSystem&) = delete;

    // Lists the adapters (only those named in ORNC_INTERFACES when it is
    // set) and discovers the devices on them. On failure the previous
    // result stays.
    PvResult Find();

    uint32_t GetInterfaceCount() const { return static_cast<uint32_t>(interfaces_.size()); }
    // Null past the end.
    const PvInterface* GetInterface(uint32_t index) const {
        return index < interfaces_.size() ? interfaces_[index].get() : nullptr;
    }
    // Devices over all interfaces.
    uint32_t GetDeviceCount() const;

private:
    std::vector<std::unique_ptr<PvInterface>> interfaces_;
    // Adapters that vanished from a later Find: kept so that pointers handed
    // out earlier never dangle. Adapters come and go rarely.
    std::vector<std::unique_ptr<PvInterface>> retired_;
};
