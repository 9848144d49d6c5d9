#include "platform/aravis_result.h"

#include <arv.h>

#include <string>

namespace platform {

namespace {

// How an Aravis error maps to a result code: the error's domain and code,
// and the code the platform answers. Anything not listed is a generic error.
struct ErrorMapping {
    GQuark (*domain)();
    int code;
    PvResult::Code result;
};

const ErrorMapping kErrorMappings[] = {
    {arv_device_error_quark, ARV_DEVICE_ERROR_TIMEOUT, PvResult::TIMEOUT},
    {arv_device_error_quark, ARV_DEVICE_ERROR_NOT_CONNECTED, PvResult::NOT_CONNECTED},
    {arv_device_error_quark, ARV_DEVICE_ERROR_NOT_FOUND, PvResult::NOT_FOUND},
    {arv_device_error_quark, ARV_DEVICE_ERROR_FEATURE_NOT_FOUND, PvResult::NOT_FOUND},
    {arv_device_error_quark, ARV_DEVICE_ERROR_GENICAM_NOT_FOUND, PvResult::NOT_FOUND},
    {arv_device_error_quark, ARV_DEVICE_ERROR_NO_STREAM_CHANNEL, PvResult::NOT_FOUND},
    {arv_device_error_quark, ARV_DEVICE_ERROR_INVALID_PARAMETER, PvResult::INVALID_PARAMETER},
    {arv_device_error_quark, ARV_DEVICE_ERROR_WRONG_FEATURE, PvResult::INVALID_PARAMETER},
    {arv_device_error_quark, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER, PvResult::INVALID_PARAMETER},
    {arv_device_error_quark, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS, PvResult::INVALID_PARAMETER},
    {arv_device_error_quark, ARV_DEVICE_ERROR_PROTOCOL_ERROR_BAD_ALIGNMENT, PvResult::INVALID_PARAMETER},
    {arv_device_error_quark, ARV_DEVICE_ERROR_NOT_CONTROLLER, PvResult::ACCESS_DENIED},
    {arv_device_error_quark, ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT, PvResult::ACCESS_DENIED},
    {arv_device_error_quark, ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED, PvResult::ACCESS_DENIED},
    {arv_device_error_quark, ARV_DEVICE_ERROR_PROTOCOL_ERROR_NOT_IMPLEMENTED, PvResult::NOT_SUPPORTED},
    {arv_device_error_quark, ARV_DEVICE_ERROR_TRANSFER_ERROR, PvResult::NETWORK_ERROR},
    {arv_gc_error_quark, ARV_GC_ERROR_READ_ONLY, PvResult::ACCESS_DENIED},
    {arv_gc_error_quark, ARV_GC_ERROR_NODE_NOT_FOUND, PvResult::NOT_FOUND},
    {arv_gc_error_quark, ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND, PvResult::NOT_FOUND},
    {arv_gc_error_quark, ARV_GC_ERROR_PROPERTY_NOT_DEFINED, PvResult::NOT_FOUND},
    {arv_gc_error_quark, ARV_GC_ERROR_PVALUE_NOT_DEFINED, PvResult::NOT_FOUND},
    {arv_gc_error_quark, ARV_GC_ERROR_OUT_OF_RANGE, PvResult::INVALID_PARAMETER},
    {arv_gc_error_quark, ARV_GC_ERROR_INVALID_LENGTH, PvResult::INVALID_PARAMETER},
    {arv_gc_error_quark, ARV_GC_ERROR_INVALID_SYNTAX, PvResult::INVALID_PARAMETER},
    {arv_gc_error_quark, ARV_GC_ERROR_INVALID_BIT_RANGE, PvResult::INVALID_PARAMETER},
    {arv_gc_error_quark, ARV_GC_ERROR_NO_DEVICE_SET, PvResult::NOT_CONNECTED},
    {arv_gc_error_quark, ARV_GC_ERROR_SET_FROM_STRING_UNDEFINED, PvResult::NOT_SUPPORTED},
    {arv_gc_error_quark, ARV_GC_ERROR_GET_AS_STRING_UNDEFINED, PvResult::NOT_SUPPORTED},
    {arv_gc_error_quark, ARV_GC_ERROR_NO_EVENT_IMPLEMENTATION, PvResult::NOT_SUPPORTED},
};

}  // namespace

PvResult::Code code_for_error(const GError* error) {
    if (error == nullptr) {
        return PvResult::OK;
    }
    for (const ErrorMapping& mapping : kErrorMappings) {
        if (error->domain == mapping.domain() && error->code == mapping.code) {
            return mapping.result;
        }
    }
    if (error->domain == G_IO_ERROR) {
        return error->code == G_IO_ERROR_TIMED_OUT ? PvResult::TIMEOUT : PvResult::NETWORK_ERROR;
    }
    return PvResult::GENERIC_ERROR;
}

PvResult take_error(GError*& error) {
    if (error == nullptr) {
        return PvResult::OK;
    }
    PvResult result(code_for_error(error), error->message != nullptr ? error->message : "");
    g_clear_error(&error);
    return result;
}

}  // namespace platform
