#include "platform/PvResult.h"

namespace {

struct CodeText {
    PvResult::Code code;
    const char* name;
    const char* description;
};

constexpr CodeText kCodeTexts[] = {
#define PV_RESULT_TEXT(name, number, text) {PvResult::name, #name, text},
    PV_RESULT_CODES(PV_RESULT_TEXT)
#undef PV_RESULT_TEXT
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
