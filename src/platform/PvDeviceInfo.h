// What discovery learnt about one device. Owned by the PvInterface that
// found it; valid until the owning PvSystem runs its next discovery.
#pragma once

#include "platform/PvString.h"

class PvInterface;

class PvDeviceInfo {
public:
    virtual ~PvDeviceInfo() = default;
    PvDeviceInfo(const PvDeviceInfo&) = delete;
    PvDeviceInfo& operator=(const PvDeviceInfo&) = delete;

    // "<vendor> <model> (<serial>)", plus " <address>" for network devices.
    const PvString& GetDisplayID() const { return display_id_; }
    const PvString& GetModelName() const { return model_; }
    const PvString& GetVendorName() const { return vendor_; }
    const PvString& GetSerialNumber() const { return serial_; }
    const PvString& GetUserDefinedName() const { return user_name_; }
    const PvString& GetVersion() const { return version_; }
    const PvString& GetManufacturerInfo() const { return manufacturer_info_; }
    const PvInterface* GetInterface() const { return interface_; }

protected:
    PvDeviceInfo() = default;

    PvString display_id_;
    PvString model_;
    PvString vendor_;
    PvString serial_;
    PvString user_name_;
    PvString version_;
    PvString manufacturer_info_;
    const PvInterface* interface_ = nullptr;
};
