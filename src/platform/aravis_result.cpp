#include "platform/aravis_result.h"

#include <arv.h>

#include <string>

namespace platform {

namespace {

PvResult::Code device_error_code(int code) {
    switch (code) {
        case ARV_DEVICE_ERROR_TIMEOUT:
            return PvResult::TIMEOUT;
        case ARV_DEVICE_ERROR_NOT_CONNECTED:
            return PvResult::NOT_CONNECTED;
        case ARV_DEVICE_ERROR_NOT_FOUND:
        case ARV_DEVICE_ERROR_FEATURE_NOT_FOUND:
        case ARV_DEVICE_ERROR_GENICAM_NOT_FOUND:
        case ARV_DEVICE_ERROR_NO_STREAM_CHANNEL:
            return PvResult::NOT_FOUND;
        case ARV_DEVICE_ERROR_INVALID_PARAMETER:
        case ARV_DEVICE_ERROR_WRONG_FEATURE:
        case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER:
        case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS:
        case ARV_DEVICE_ERROR_PROTOCOL_ERROR_BAD_ALIGNMENT:
            return PvResult::INVALID_PARAMETER;
        case ARV_DEVICE_ERROR_NOT_CONTROLLER:
        case ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT:
        case ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED:
            return PvResult::ACCESS_DENIED;
        case ARV_DEVICE_ERROR_PROTOCOL_ERROR_NOT_IMPLEMENTED:
            return PvResult::NOT_SUPPORTED;
        case ARV_DEVICE_ERROR_TRANSFER_ERROR:
            return PvResult::NETWORK_ERROR;
        default:
            return PvResult::GENERIC_ERROR;
    }
}

PvResult::Code genicam_error_code(int code) {
    switch (code) {
        case ARV_GC_ERROR_READ_ONLY:
            return PvResult::ACCESS_DENIED;
        case ARV_GC_ERROR_NODE_NOT_FOUND:
        case ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND:
        case ARV_GC_ERROR_PROPERTY_NOT_DEFINED:
        case ARV_GC_ERROR_PVALUE_NOT_DEFINED:
            return PvResult::NOT_FOUND;
        case ARV_GC_ERROR_OUT_OF_RANGE:
        case ARV_GC_ERROR_INVALID_LENGTH:
        case ARV_GC_ERROR_INVALID_SYNTAX:
        case ARV_GC_ERROR_INVALID_BIT_RANGE:
            return PvResult::INVALID_PARAMETER;
        case ARV_GC_ERROR_NO_DEVICE_SET:
            return PvResult::NOT_CONNECTED;
        case ARV_GC_ERROR_SET_FROM_STRING_UNDEFINED:
        case ARV_GC_ERROR_GET_AS_STRING_UNDEFINED:
        case ARV_GC_ERROR_NO_EVENT_IMPLEMENTATION:
            return PvResult::NOT_SUPPORTED;
        default:
            return PvResult::GENERIC_ERROR;
    }
}

}  // namespace

PvResult::Code code_for_error(const GError* error) {
    if (error == nullptr) {
        return PvResult::OK;
    }
    if (error->domain == ARV_DEVICE_ERROR) {
        return device_error_code(error->code);
    }
    if (error->domain == ARV_GC_ERROR) {
        return genicam_error_code(error->code);
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
