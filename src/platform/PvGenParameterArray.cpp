#include "platform/PvGenParameterArray.h"

#include <arv.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

#include "platform/PvBuffer.h"
#include "platform/PvGenBoolean.h"
#include "platform/PvGenCommand.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenFloat.h"
#include "platform/PvGenInteger.h"
#include "platform/PvGenRegister.h"
#include "platform/PvGenString.h"
#include "platform/aravis_result.h"
#include "platform/chunk_data_ports.h"
#include "platform/description_nodes.h"

namespace {

// Aravis adds nodes of its own for GigE Vision devices; they are not the
// device's features.
constexpr const char* kAravisNodePrefix = "ArvGev";
constexpr char kCategoryPathSeparator = '\\';

// References through which a node's value, range, address or state comes
// from another node: a change of the referenced node may change it.
constexpr const char* kDependencyReferences[] = {
    "pValue",    "pVariable",     "pMin",         "pMax",          "pInc",
    "pIndex",    "pAddress",      "pLength",      "pIsAvailable",  "pIsImplemented",
    "pIsLocked", "pValueDefault", "pInvalidator", "pValueIndexed", "pSelected",
};
constexpr const char* kSelectedReference = "pSelected";
// Dependency chains in a description are short; the bound also ends a
// circle in a broken one.
constexpr size_t kMaxDependencyDepth = 16;

bool is_aravis_node(const char* name) {
    return std::strncmp(name, kAravisNodePrefix, std::strlen(kAravisNodePrefix)) == 0;
}

const char* feature_name(ArvDomNode* node) {
    return arv_gc_feature_node_get_name(reinterpret_cast<ArvGcFeatureNode*>(node));
}

// Writes the feature `name` of the kind `is_kind` tells (`kind` names it)
// through `write(node, &error)`; the caller holds the array lock.
template <typename Write>
PvResult write_unlocked(ArvGc* genicam, const char* name, const char* kind, gboolean (*is_kind)(gpointer),
                        Write write) {
    ArvGcNode* node = arv_gc_get_node(genicam, name);
    if (node == nullptr || !is_kind(node)) {
        return PvResult(PvResult::NOT_FOUND, std::string("no ") + kind + " feature " + name);
    }
    GError* error = nullptr;
    write(node, &error);
    return platform::take_error(error);
}

}  // namespace

PvGenParameterArray::PvGenParameterArray(ArvGc* genicam) : genicam_(genicam), lock_(std::make_shared<std::mutex>()) {
    g_object_ref(genicam_);
}

PvGenParameterArray::~PvGenParameterArray() {
    // Parameters refer to nodes of the document: release them first.
    parameters_.clear();
    categories_.clear();
    chunk_ports_.reset();
    g_object_unref(genicam_);
}

std::unique_ptr<PvGenParameterArray> PvGenParameterArray::Create(ArvGc* genicam, PvResult* result) {
    if (genicam == nullptr) {
        if (result != nullptr) {
            *result = PvResult(PvResult::INVALID_PARAMETER, "no node map");
        }
        return nullptr;
    }
    ArvDomElement* root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(genicam));
    if (root == nullptr || !ARV_IS_GC_REGISTER_DESCRIPTION_NODE(root)) {
        if (result != nullptr) {
            *result = PvResult(PvResult::NOT_FOUND, "the description has no RegisterDescription");
        }
        return nullptr;
    }
    std::unique_ptr<PvGenParameterArray> array(new PvGenParameterArray(genicam));
    // Depth-first in document order: groups are transparent, a StructReg
    // contributes its StructEntry features.
    std::vector<ArvDomNode*> features;
    std::vector<ArvDomNode*> categories;
    std::function<void(ArvDomNode*)> walk = [&](ArvDomNode* parent) {
        for (ArvDomNode* child = arv_dom_node_get_first_child(parent); child != nullptr;
             child = arv_dom_node_get_next_sibling(child)) {
            if (ARV_IS_GC_GROUP_NODE(child) || ARV_IS_GC_STRUCT_REG_NODE(child)) {
                walk(child);
            } else if (ARV_IS_GC_CATEGORY(child)) {
                categories.push_back(child);
            } else if (ARV_IS_GC_FEATURE_NODE(child)) {
                features.push_back(child);
            }
        }
    };
    walk(ARV_DOM_NODE(root));
    for (ArvDomNode* node : features) {
        array->AddFeature(node);
    }
    for (ArvDomNode* node : categories) {
        const char* name = feature_name(node);
        if (name == nullptr || name[0] == '\0' || is_aravis_node(name) || array->categories_by_name_.count(name) != 0) {
            continue;
        }
        array->categories_.emplace_back(new PvGenCategory(ARV_GC_CATEGORY(node)));
        array->categories_by_name_.emplace(name, array->categories_.back().get());
    }
    array->BuildCategories();
    array->BuildSelectorRelations();
    array->BuildDependencyEdges();
    if (result != nullptr) {
        *result = PvResult::OK;
    }
    return array;
}

void PvGenParameterArray::AddFeature(void* feature_node) {
    ArvDomNode* node = static_cast<ArvDomNode*>(feature_node);
    const char* name = feature_name(node);
    if (name == nullptr || name[0] == '\0' || is_aravis_node(name) || by_name_.count(name) != 0) {
        return;
    }
    ArvGcFeatureNode* feature = ARV_GC_FEATURE_NODE(node);
    PvGenParameter* parameter = nullptr;
    // Order matters: an enumeration is also an integer, an IntReg also a
    // register, a FloatReg also a register, a StringReg also a register.
    if (ARV_IS_GC_ENUMERATION(node)) {
        parameter = new PvGenEnum(this, feature);
    } else if (ARV_IS_GC_BOOLEAN(node)) {
        parameter = new PvGenBoolean(this, feature, PvGenTypeBoolean);
    } else if (ARV_IS_GC_COMMAND(node)) {
        parameter = new PvGenCommand(this, feature, PvGenTypeCommand);
    } else if (ARV_IS_GC_INTEGER(node)) {
        parameter = new PvGenInteger(this, feature, PvGenTypeInteger);
    } else if (ARV_IS_GC_FLOAT(node)) {
        parameter = new PvGenFloat(this, feature, PvGenTypeFloat);
    } else if (ARV_IS_GC_STRING(node)) {
        parameter = new PvGenString(this, feature, PvGenTypeString);
    } else if (ARV_IS_GC_REGISTER(node)) {
        parameter = new PvGenRegister(this, feature, PvGenTypeRegister);
    } else {
        return;  // ports and other nodes without a value
    }
    parameter->index_ = static_cast<uint32_t>(parameters_.size());
    parameters_.emplace_back(parameter);
    by_name_.emplace(name, parameter);
}

void PvGenParameterArray::BuildCategories() {
    // Each feature and each category belongs to the first category (in
    // document order) that lists it.
    std::unordered_map<std::string, std::string> parent_of;
    for (const auto& category : categories_) {
        const GSList* members = arv_gc_category_get_features(reinterpret_cast<ArvGcCategory*>(category->node_));
        for (const GSList* item = members; item != nullptr; item = item->next) {
            const char* member = static_cast<const char*>(item->data);
            if (member != nullptr && member != category->GetName().str()) {
                parent_of.emplace(member, category->GetName().str());
            }
        }
    }
    auto path_of = [&](const std::string& category) {
        std::string path = category;
        std::string current = category;
        // Bounded: a cycle in a broken description cannot loop forever.
        for (size_t depth = 0; depth <= categories_.size(); ++depth) {
            auto parent = parent_of.find(current);
            if (parent == parent_of.end() || categories_by_name_.count(parent->second) == 0) {
                break;
            }
            current = parent->second;
            path = current + kCategoryPathSeparator + path;
        }
        return path;
    };
    for (const auto& parameter : parameters_) {
        auto parent = parent_of.find(parameter->GetName().str());
        if (parent != parent_of.end() && categories_by_name_.count(parent->second) != 0) {
            parameter->category_path_ = path_of(parent->second);
        }
    }
}

void PvGenParameterArray::BuildSelectorRelations() {
    for (const auto& parameter : parameters_) {
        ArvGcFeatureNode* node = parameter->node_;
        if (!ARV_IS_GC_SELECTOR(node) || !arv_gc_selector_is_selector(ARV_GC_SELECTOR(node))) {
            continue;
        }
        for (const GSList* item = arv_gc_selector_get_selected_features(ARV_GC_SELECTOR(node)); item != nullptr;
             item = item->next) {
            ArvGcFeatureNode* selected_node = static_cast<ArvGcFeatureNode*>(item->data);
            const char* name = selected_node != nullptr ? arv_gc_feature_node_get_name(selected_node) : nullptr;
            auto selected = name != nullptr ? by_name_.find(name) : by_name_.end();
            if (selected == by_name_.end()) {
                continue;
            }
            parameter->selected_.push_back(selected->second);
            selected->second->selecting_.push_back(parameter.get());
        }
    }
    auto by_index = [](const PvGenParameter* a, const PvGenParameter* b) { return a->index_ < b->index_; };
    for (const auto& parameter : parameters_) {
        std::sort(parameter->selected_.begin(), parameter->selected_.end(), by_index);
        parameter->selected_.erase(std::unique(parameter->selected_.begin(), parameter->selected_.end()),
                                   parameter->selected_.end());
        std::sort(parameter->selecting_.begin(), parameter->selecting_.end(), by_index);
        parameter->selecting_.erase(std::unique(parameter->selecting_.begin(), parameter->selecting_.end()),
                                    parameter->selecting_.end());
    }
}

void PvGenParameterArray::BuildDependencyEdges() {
    std::function<void(ArvDomNode*)> walk = [&](ArvDomNode* parent) {
        for (ArvDomNode* child = arv_dom_node_get_first_child(parent); child != nullptr;
             child = arv_dom_node_get_next_sibling(child)) {
            if (!ARV_IS_GC_FEATURE_NODE(child)) {
                walk(child);
                continue;
            }
            const char* name = feature_name(child);
            for (ArvDomNode* element = arv_dom_node_get_first_child(child); name != nullptr && element != nullptr;
                 element = arv_dom_node_get_next_sibling(element)) {
                const char* tag = arv_dom_node_get_node_name(element);
                const char* referenced = platform::element_text(element);
                if (tag == nullptr || referenced == nullptr || !platform::is_one_of(tag, kDependencyReferences)) {
                    continue;
                }
                // A selector lists what it selects: those depend on it.
                if (std::strcmp(tag, kSelectedReference) == 0) {
                    direct_dependents_[name].push_back(referenced);
                } else {
                    direct_dependents_[referenced].push_back(name);
                }
            }
            walk(child);  // entries of an enumeration, StructEntry of a StructReg
        }
    };
    walk(ARV_DOM_NODE(genicam_));
}

const std::vector<PvGenParameter*>& PvGenParameterArray::DependentsLocked(const PvGenParameter* parameter) {
    auto cached = dependents_.find(parameter);
    if (cached != dependents_.end()) {
        return cached->second;
    }
    std::vector<std::string> frontier{parameter->GetName().str()};
    std::unordered_map<std::string, bool> reached{{frontier.front(), true}};
    for (size_t depth = 0; depth < kMaxDependencyDepth && !frontier.empty(); ++depth) {
        std::vector<std::string> next;
        for (const std::string& name : frontier) {
            auto edges = direct_dependents_.find(name);
            if (edges == direct_dependents_.end()) {
                continue;
            }
            for (const std::string& dependent : edges->second) {
                if (reached.emplace(dependent, true).second) {
                    next.push_back(dependent);
                }
            }
        }
        frontier.swap(next);
    }
    std::vector<PvGenParameter*> dependents;
    for (const auto& entry : reached) {
        PvGenParameter* dependent = Get(PvString(entry.first));
        if (dependent != nullptr && dependent != parameter) {
            dependents.push_back(dependent);
        }
    }
    std::sort(dependents.begin(), dependents.end(),
              [](const PvGenParameter* a, const PvGenParameter* b) { return a->index_ < b->index_; });
    return dependents_.emplace(parameter, std::move(dependents)).first->second;
}

PvGenParameter* PvGenParameterArray::Get(uint32_t index) const {
    return index < parameters_.size() ? parameters_[index].get() : nullptr;
}

PvGenParameter* PvGenParameterArray::Get(const PvString& name) const {
    auto found = by_name_.find(name.str());
    return found != by_name_.end() ? found->second : nullptr;
}

PvGenCategory* PvGenParameterArray::GetCategory(uint32_t index) const {
    return index < categories_.size() ? categories_[index].get() : nullptr;
}

PvGenCategory* PvGenParameterArray::GetCategory(const PvString& name) const {
    auto found = categories_by_name_.find(name.str());
    return found != categories_by_name_.end() ? found->second : nullptr;
}

void PvGenParameterArray::SetReadOnlyForApplication(const PvString& name) {
    PvGenParameter* parameter = Get(name);
    if (parameter != nullptr) {
        parameter->read_only_for_application_ = true;
    }
}

PvResult PvGenParameterArray::SetIntegerUnlocked(const char* name, int64_t value) {
    return write_unlocked(genicam_, name, "integer", ARV_IS_GC_INTEGER, [value](ArvGcNode* node, GError** error) {
        arv_gc_integer_set_value(ARV_GC_INTEGER(node), value, error);
    });
}

PvResult PvGenParameterArray::SetFloatUnlocked(const char* name, double value) {
    return write_unlocked(genicam_, name, "float", ARV_IS_GC_FLOAT, [value](ArvGcNode* node, GError** error) {
        arv_gc_float_set_value(ARV_GC_FLOAT(node), value, error);
    });
}

PvResult PvGenParameterArray::AttachDataChunks(uint8_t* data, uint32_t size) {
    PvBuffer* buffer = PvBuffer::FromDataPointer(data);
    if (buffer == nullptr) {
        return PvResult(PvResult::INVALID_PARAMETER, "the data is not the memory of a stream buffer");
    }
    if (buffer->IsQueued()) {
        return PvResult(PvResult::INVALID_PARAMETER, "the buffer is queued in a stream");
    }
    if (buffer->GetChunkCount() == 0) {
        return PvResult(PvResult::INVALID_PARAMETER, "the buffer carries no chunk data");
    }
    if (size > buffer->GetPayloadSize()) {
        return PvResult(PvResult::INVALID_PARAMETER, std::to_string(size) + " bytes asked of a payload of " +
                                                         std::to_string(buffer->GetPayloadSize()));
    }
    std::lock_guard<std::mutex> guard(*lock_);
    if (chunk_ports_ == nullptr) {
        chunk_ports_ = platform::ChunkDataPorts::Replace(genicam_);
    }
    chunk_ports_->Bind(*buffer);
    return PvResult::OK;
}

PvResult PvGenParameterArray::DetachDataChunks() {
    std::lock_guard<std::mutex> guard(*lock_);
    if (chunk_ports_ != nullptr) {
        chunk_ports_->Unbind();
    }
    return PvResult::OK;
}
