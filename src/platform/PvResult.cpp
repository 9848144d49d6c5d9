#include "platform/PvResult.h"

namespace {

struct CodeText {
    PvResult::Code code;
    const char* name;
    const char* description;
};

constexpr CodeText kCodeTexts[] = {
    {PvResult::OK, "OK", "success"},
    {PvResult::ABORTED, "ABORTED", "operation aborted"},
    {PvResult::NOT_FOUND, "NOT_FOUND", "not found"},
    {PvResult::INVALID_PARAMETER, "INVALID_PARAMETER", "invalid parameter"},
    {PvResult::NOT_CONNECTED, "NOT_CONNECTED", "not connected"},
    {PvResult::NETWORK_ERROR, "NETWORK_ERROR", "network error"},
    {PvResult::GENERIC_ERROR, "GENERIC_ERROR", "error"},
    {PvResult::NOT_SUPPORTED, "NOT_SUPPORTED", "not supported"},
    {PvResult::ACCESS_DENIED, "ACCESS_DENIED", "access denied by the device"},
    {PvResult::INVALID_ANSWER, "INVALID_ANSWER", "invalid answer from the device"},
    {PvResult::TIMEOUT, "TIMEOUT", "time-out"},
};

const CodeText* find_text(PvResult::Code code) {
    for (const CodeText& entry : kCodeTexts) {
        if (entry.code == code) {
            return &entry;
        }
    }
    return nullptr;
}

}  // namespace

PvString PvResult::GetCodeString() const {
    const CodeText* text = find_text(code_);
    return text != nullptr ? text->name : "UNKNOWN";
}

PvString PvResult::GetDescription() const {
    if (!detail_.empty()) {
        return detail_;
    }
    const CodeText* text = find_text(code_);
    return text != nullptr ? text->description : "unknown result";
}
