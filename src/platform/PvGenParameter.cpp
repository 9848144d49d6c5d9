#include "platform/PvGenParameter.h"

#include <arpa/inet.h>
#include <arv.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>

#include "platform/PvGenBoolean.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenEventSink.h"
#include "platform/PvGenFloat.h"
#include "platform/PvGenInteger.h"
#include "platform/PvGenParameterArray.h"
#include "platform/PvGenRegister.h"
#include "platform/PvGenString.h"
#include "platform/aravis_result.h"
#include "platform/description_nodes.h"

namespace {

// Aravis counts visibility the other way round (invisible lowest).
PvGenVisibility visibility_from_aravis(ArvGcVisibility visibility) {
    switch (visibility) {
        case ARV_GC_VISIBILITY_BEGINNER:
            return PvGenVisibilityBeginner;
        case ARV_GC_VISIBILITY_EXPERT:
            return PvGenVisibilityExpert;
        case ARV_GC_VISIBILITY_GURU:
            return PvGenVisibilityGuru;
        case ARV_GC_VISIBILITY_INVISIBLE:
            return PvGenVisibilityInvisible;
        default:
            return PvGenVisibilityUndefined;
    }
}

bool mode_reads(ArvGcAccessMode mode) { return mode == ARV_GC_ACCESS_MODE_RO || mode == ARV_GC_ACCESS_MODE_RW; }
bool mode_writes(ArvGcAccessMode mode) { return mode == ARV_GC_ACCESS_MODE_WO || mode == ARV_GC_ACCESS_MODE_RW; }

// Text of the first child element named `tag` of `element`, or null.
const char* child_text(ArvDomNode* element, const char* tag) {
    for (ArvDomNode* child = arv_dom_node_get_first_child(element); child != nullptr;
         child = arv_dom_node_get_next_sibling(child)) {
        if (std::strcmp(arv_dom_node_get_node_name(child), tag) != 0) {
            continue;
        }
        return platform::element_text(child);
    }
    return nullptr;
}

bool parse_int64(const std::string& text, int64_t& value) {
    if (text.empty()) {
        return false;
    }
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    errno = 0;
    char* end = nullptr;
    const long long parsed = std::strtoll(text.c_str(), &end, hex ? 16 : 10);
    if (errno != 0 || end == text.c_str() || *end != '\0') {
        return false;
    }
    value = parsed;
    return true;
}

bool parse_hex_bytes(const std::string& text, std::string& bytes) {
    if (text.size() % 2 != 0) {
        return false;
    }
    bytes.clear();
    for (size_t i = 0; i < text.size(); i += 2) {
        char pair[3] = {text[i], text[i + 1], '\0'};
        char* end = nullptr;
        const long byte = std::strtol(pair, &end, 16);
        if (end != pair + 2) {
            return false;
        }
        bytes.push_back(static_cast<char>(byte));
    }
    return true;
}

// The list of related parameters a caller asked for, replacing its contents.
PvResult listed(const std::vector<PvGenParameter*>& parameters, PvGenParameterList& list) {
    list.Clear();
    for (PvGenParameter* parameter : parameters) {
        list.Add(parameter);
    }
    return PvResult::OK;
}

}  // namespace

PvGenParameter::PvGenParameter(PvGenParameterArray* owner, ArvGcFeatureNode* node, PvGenType type)
    : FeatureNode(node), owner_(owner), type_(type) {
    visibility_ = visibility_from_aravis(arv_gc_feature_node_get_visibility(node));
}

PvGenParameter::~PvGenParameter() = default;

PvResult PvGenParameter::GetCategory(PvString& category) const { return Answer(category_path_, category); }

PvResult PvGenParameter::GetType(PvGenType& type) const { return Answer(type_, type); }

PvResult PvGenParameter::IsAvailable(bool& available) const {
    return ReadInto(
        available, [this](GError** error) { return IsPresentLocked(error); }, Read::Attribute);
}

PvResult PvGenParameter::IsReadable(bool& readable) const {
    return ReadInto(
        readable,
        [this](GError** error) {
            return IsPresentLocked(error) && mode_reads(arv_gc_feature_node_get_actual_access_mode(node()));
        },
        Read::Attribute);
}

PvResult PvGenParameter::IsWritable(bool& writable) const {
    if (read_only_for_application_ || owner_->IsReadOnly()) {
        writable = false;
        return PvResult::OK;
    }
    return ReadInto(
        writable,
        [this](GError** error) {
            return IsPresentLocked(error) && !arv_gc_feature_node_is_locked(node(), error) && *error == nullptr &&
                   mode_writes(arv_gc_feature_node_get_actual_access_mode(node()));
        },
        Read::Attribute);
}

bool PvGenParameter::IsAvailable() const {
    bool flag = false;
    return IsAvailable(flag).IsOK() && flag;
}

bool PvGenParameter::IsReadable() const {
    bool flag = false;
    return IsReadable(flag).IsOK() && flag;
}

bool PvGenParameter::IsWritable() const {
    bool flag = false;
    return IsWritable(flag).IsOK() && flag;
}

bool PvGenParameter::IsValueCached() const {
    // A value is cached unless the node, or the register node its value
    // comes from, says "NoCache". Only the document is read: no lock on
    // the device is needed beyond the array's.
    std::lock_guard<std::mutex> guard(owner_->GetLock());
    ArvDomNode* element = ARV_DOM_NODE(node());
    for (int depth = 0; element != nullptr && depth < 8; ++depth) {
        const char* cachable = child_text(element, "Cachable");
        if (cachable != nullptr) {
            return std::strcmp(cachable, "NoCache") != 0;
        }
        const char* pointed = child_text(element, "pValue");
        if (pointed == nullptr) {
            break;
        }
        ArvGcNode* next = arv_gc_get_node(owner_->GetGenicam(), pointed);
        element = next != nullptr ? ARV_DOM_NODE(next) : nullptr;
    }
    return true;
}

bool PvGenParameter::IsVisible(PvGenVisibility visibility) const {
    PvGenVisibility own = PvGenVisibilityUndefined;
    GetVisibility(own);
    return static_cast<int>(own) <= static_cast<int>(visibility);
}

PvResult PvGenParameter::GetVisibility(PvGenVisibility& visibility) const { return Answer(visibility_, visibility); }

PvResult PvGenParameter::IsSelector(bool& selector) const { return Answer(!selected_.empty(), selector); }

PvResult PvGenParameter::GetSelectedParameters(PvGenParameterList& list) const { return listed(selected_, list); }

PvResult PvGenParameter::GetSelectingParameters(PvGenParameterList& list) const { return listed(selecting_, list); }

PvResult PvGenParameter::ToString(PvString& value) const {
    switch (type_) {
        case PvGenTypeInteger: {
            int64_t number = 0;
            PvResult result = static_cast<const PvGenInteger*>(this)->GetValue(number);
            if (result.IsFailure()) {
                return result;
            }
            ArvGcRepresentation representation;
            {
                std::lock_guard<std::mutex> guard(owner_->GetLock());
                representation = arv_gc_integer_get_representation(ARV_GC_INTEGER(node()));
            }
            char text[64];
            if (representation == ARV_GC_REPRESENTATION_IPV4_ADDRESS) {
                const uint32_t address = static_cast<uint32_t>(number);
                std::snprintf(text, sizeof text, "%u.%u.%u.%u", (address >> 24) & 0xFFu, (address >> 16) & 0xFFu,
                              (address >> 8) & 0xFFu, address & 0xFFu);
            } else if (representation == ARV_GC_REPRESENTATION_MAC_ADDRESS) {
                const uint64_t mac = static_cast<uint64_t>(number);
                std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x",
                              static_cast<unsigned>((mac >> 40) & 0xFFu), static_cast<unsigned>((mac >> 32) & 0xFFu),
                              static_cast<unsigned>((mac >> 24) & 0xFFu), static_cast<unsigned>((mac >> 16) & 0xFFu),
                              static_cast<unsigned>((mac >> 8) & 0xFFu), static_cast<unsigned>(mac & 0xFFu));
            } else {
                std::snprintf(text, sizeof text, "%" PRId64, number);
            }
            value = text;
            return PvResult::OK;
        }
        case PvGenTypeFloat: {
            double number = 0.0;
            PvResult result = static_cast<const PvGenFloat*>(this)->GetValue(number);
            if (result.IsOK()) {
                char text[64];
                std::snprintf(text, sizeof text, "%.17g", number);
                value = text;
            }
            return result;
        }
        case PvGenTypeBoolean: {
            bool flag = false;
            PvResult result = static_cast<const PvGenBoolean*>(this)->GetValue(flag);
            if (result.IsOK()) {
                value = flag ? "true" : "false";
            }
            return result;
        }
        case PvGenTypeString:
            return static_cast<const PvGenString*>(this)->GetValue(value);
        case PvGenTypeEnum:
            return static_cast<const PvGenEnum*>(this)->GetValue(value);
        case PvGenTypeRegister: {
            int64_t length = 0;
            const PvGenRegister* reg = static_cast<const PvGenRegister*>(this);
            PvResult result = reg->GetLength(length);
            if (result.IsFailure()) {
                return result;
            }
            if (length < 0 || length > (1 << 20)) {
                return PvResult(PvResult::NOT_SUPPORTED, "register too long for a text form");
            }
            std::string bytes(static_cast<size_t>(length), '\0');
            result = reg->Get(reinterpret_cast<unsigned char*>(&bytes[0]), length);
            if (result.IsFailure()) {
                return result;
            }
            std::string text;
            char pair[3];
            for (char byte : bytes) {
                std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
                text += pair;
            }
            value = text;
            return PvResult::OK;
        }
        default:
            return PvResult(PvResult::NOT_SUPPORTED, "this kind of feature has no value text");
    }
}

PvResult PvGenParameter::FromString(const PvString& value) {
    const std::string& text = value.str();
    switch (type_) {
        case PvGenTypeInteger: {
            int64_t number = 0;
            in_addr address{};
            if (text.find('.') != std::string::npos && inet_pton(AF_INET, text.c_str(), &address) == 1) {
                number = static_cast<int64_t>(ntohl(address.s_addr));
            } else if (!parse_int64(text, number)) {
                return PvResult(PvResult::INVALID_PARAMETER, "not an integer: \"" + text + "\"");
            }
            return static_cast<PvGenInteger*>(this)->SetValue(number);
        }
        case PvGenTypeFloat: {
            errno = 0;
            char* end = nullptr;
            const double number = std::strtod(text.c_str(), &end);
            if (text.empty() || errno != 0 || *end != '\0') {
                return PvResult(PvResult::INVALID_PARAMETER, "not a number: \"" + text + "\"");
            }
            return static_cast<PvGenFloat*>(this)->SetValue(number);
        }
        case PvGenTypeBoolean: {
            if (text == "1" || strcasecmp(text.c_str(), "true") == 0) {
                return static_cast<PvGenBoolean*>(this)->SetValue(true);
            }
            if (text == "0" || strcasecmp(text.c_str(), "false") == 0) {
                return static_cast<PvGenBoolean*>(this)->SetValue(false);
            }
            return PvResult(PvResult::INVALID_PARAMETER, "not a boolean: \"" + text + "\"");
        }
        case PvGenTypeString:
            return static_cast<PvGenString*>(this)->SetValue(value);
        case PvGenTypeEnum:
            return static_cast<PvGenEnum*>(this)->SetValue(value);
        case PvGenTypeRegister: {
            std::string bytes;
            if (!parse_hex_bytes(text, bytes)) {
                return PvResult(PvResult::INVALID_PARAMETER, "not a hexadecimal byte string");
            }
            return static_cast<PvGenRegister*>(this)->Set(reinterpret_cast<const unsigned char*>(bytes.data()),
                                                          static_cast<int64_t>(bytes.size()));
        }
        default:
            return PvResult(PvResult::NOT_SUPPORTED, "this kind of feature takes no value text");
    }
}

PvResult PvGenParameter::RegisterEventSink(PvGenEventSink* sink) {
    if (sink == nullptr) {
        return PvResult::INVALID_PARAMETER;
    }
    std::lock_guard<std::mutex> guard(owner_->GetLock());
    if (std::find(sinks_.begin(), sinks_.end(), sink) != sinks_.end()) {
        return PvResult(PvResult::INVALID_PARAMETER, "sink already registered");
    }
    sinks_.push_back(sink);
    return PvResult::OK;
}

PvResult PvGenParameter::UnregisterEventSink(PvGenEventSink* sink) {
    std::lock_guard<std::mutex> guard(owner_->GetLock());
    auto found = std::find(sinks_.begin(), sinks_.end(), sink);
    if (found == sinks_.end()) {
        return PvResult::NOT_FOUND;
    }
    sinks_.erase(found);
    return PvResult::OK;
}

PvResult PvGenParameter::CheckWritable() const {
    if (owner_->IsReadOnly()) {
        return PvResult(PvResult::NOT_CONTROLLER, GetName().str() + ": the connection does not control the device");
    }
    if (read_only_for_application_) {
        return PvResult(PvResult::ACCESS_DENIED, GetName().str() + " is read-only");
    }
    return PvResult::OK;
}

void PvGenParameter::NotifyUpdate() {
    // This parameter's sinks, then those of every parameter whose value
    // may have changed with it.
    std::vector<std::pair<PvGenParameter*, PvGenEventSink*>> calls;
    {
        std::lock_guard<std::mutex> guard(owner_->GetLock());
        for (PvGenEventSink* sink : sinks_) {
            calls.emplace_back(this, sink);
        }
        for (PvGenParameter* dependent : owner_->DependentsLocked(this)) {
            for (PvGenEventSink* sink : dependent->sinks_) {
                calls.emplace_back(dependent, sink);
            }
        }
    }
    for (const auto& call : calls) {
        call.second->OnParameterUpdate(call.first);
    }
    owner_->NotifyWritten(*this);
}

std::mutex& PvGenParameter::Lock() const { return owner_->GetLock(); }

PvResult PvGenParameter::TakeError(GError*& error) { return platform::take_error(error); }

void PvGenParameter::RefreshLocked() const {
    PvGenParameterArray::ValueHooks* hooks = owner_->GetValueHooks();
    if (hooks != nullptr) {
        hooks->BeforeRead(*owner_, const_cast<PvGenParameter&>(*this));
    }
}

PvResult PvGenParameter::AfterWriteLocked() {
    PvGenParameterArray::ValueHooks* hooks = owner_->GetValueHooks();
    return hooks != nullptr ? hooks->AfterWrite(*owner_, *this) : PvResult(PvResult::OK);
}
