// The library's handles for one scope, and their text getters as
// std::string.
#pragma once

#include <string>

#include "ORNC.h"

namespace orntest {

// An initialised library handle; disconnected and destroyed at scope end.
struct Handle {
    ornc_t ornc{nullptr};
    Handle() { ORNCInit(&ornc); }
    ~Handle() {
        ORNCDisconnect(&ornc);
        ORNCDestroy(&ornc);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ornc_t* get() { return &ornc; }
    // The parameter `name` of the device map; a missing one fails the test.
    ornc_param_t* param(const char* name) const;
};

// A system handle, destroyed at scope end.
struct SystemScope {
    ornc_system_t sys{nullptr};
    SystemScope() { ORNCSysInit(&sys); }
    ~SystemScope() { ORNCSysDestroy(&sys); }
    SystemScope(const SystemScope&) = delete;
    SystemScope& operator=(const SystemScope&) = delete;
};

using DeviceTextGetter = int (*)(const ornc_device_t*, char*, int);
using InterfaceTextGetter = int (*)(const ornc_interface_t*, char*, int);
// "<none>" when the getter reports nothing.
std::string text_of(DeviceTextGetter getter, const ornc_device_t* device);
std::string text_of(InterfaceTextGetter getter, const ornc_interface_t* interf);
std::string device_ip(const ornc_device_t* device);
std::string device_serial(const ornc_device_t* device);
// The adapter handle named `name` ("lo"), or nullptr.
const ornc_interface_t* interface_named(const ornc_system_t* sys, const std::string& name);

std::string param_name(const ornc_param_t* param);
std::string category_name(const ornc_category_t* category);
// The text form through ORNCParamGetValue, or "<status N>" on failure.
std::string value_text(const ornc_param_t* param);
// The parameter `name` of the connected handle's device map (a missing
// parameter fails the calling test with a message).
ornc_param_t* device_param(const ornc_t* ornc, const char* name);

}  // namespace orntest
