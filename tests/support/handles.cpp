#include "handles.h"

#include <gtest/gtest.h>

namespace orntest {

ornc_param_t* Handle::param(const char* name) const { return device_param(&ornc, name); }

std::string text_of(DeviceTextGetter getter, const ornc_device_t* device) {
    char text[256] = {0};
    return getter(device, text, sizeof text) > 0 ? std::string(text) : std::string("<none>");
}

std::string text_of(InterfaceTextGetter getter, const ornc_interface_t* interf) {
    char text[256] = {0};
    return getter(interf, text, sizeof text) > 0 ? std::string(text) : std::string("<none>");
}

std::string device_ip(const ornc_device_t* device) { return text_of(ORNCDeviceGetIPAddress, device); }
std::string device_serial(const ornc_device_t* device) { return text_of(ORNCDeviceGetSerialNumber, device); }

const ornc_interface_t* interface_named(const ornc_system_t* sys, const std::string& name) {
    const int count = ORNCSysGetInterfaceCount(sys);
    for (int i = 0; i < count; ++i) {
        const ornc_interface_t* interf = ORNCSysGetInterface(sys, i);
        if (text_of(ORNCInterfaceGetDescription, interf) == name) return interf;
    }
    return nullptr;
}

std::string param_name(const ornc_param_t* param) {
    char text[256];
    return ORNCParamGetName(param, text, sizeof text) > 0 ? text : "";
}

std::string category_name(const ornc_category_t* category) {
    char text[256];
    return ORNCCategoryGetName(category, text, sizeof text) > 0 ? text : "";
}

std::string value_text(const ornc_param_t* param) {
    char text[256];
    const ornc_status_t status = ORNCParamGetValue(param, text, sizeof text);
    return status == ORNC_OK ? std::string(text) : "<status " + std::to_string(status) + ">";
}

ornc_param_t* device_param(const ornc_t* ornc, const char* name) {
    ornc_param_t* param = ORNCParamsGetParamByName(ORNCGetDeviceParams(ornc), name);
    EXPECT_NE(param, nullptr) << "no parameter " << name;
    return param;
}

}  // namespace orntest
