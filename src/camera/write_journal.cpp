#include "camera/write_journal.h"

#include "base/log.h"
#include "platform/PvGenParameter.h"
#include "platform/PvGenParameterArray.h"

namespace {

bool ORNC_WriteText(PvGenParameterArray* map, const std::string& name, const std::string& value) {
    PvGenParameter* parameter = map != nullptr ? map->Get(PvString(name.c_str())) : nullptr;
    const PvResult result = parameter != nullptr ? parameter->FromString(PvString(value.c_str()))
                                                 : PvResult(PvResult::NOT_FOUND, "no such feature");
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: Writing %s = %s again failed %d %s", name.c_str(),
                 value.c_str(), static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
    }
    return result.IsOK();
}

}  // namespace

void ORNCWriteJournal::Clear() {
    std::lock_guard<std::mutex> guard(lock_);
    entries_.clear();
}

void ORNCWriteJournal::Attach(PvGenParameterArray* const maps[kMapCount]) {
    for (int map = 0; map < kMapCount; ++map) {
        if (maps[map] != nullptr) {
            maps[map]->SetWriteObserver(&ORNCWriteJournal::Observe, &bindings_[map]);
        }
    }
}

void ORNCWriteJournal::Detach(PvGenParameterArray* const maps[kMapCount]) {
    for (int map = 0; map < kMapCount; ++map) {
        if (maps[map] != nullptr) {
            maps[map]->SetWriteObserver(nullptr, nullptr);
        }
    }
}

std::vector<ORNCWriteJournal::Entry> ORNCWriteJournal::Snapshot() const {
    std::lock_guard<std::mutex> guard(lock_);
    return entries_;
}

void ORNCWriteJournal::Observe(void* context, PvGenParameter& parameter) {
    const Binding* binding = static_cast<const Binding*>(context);
    binding->journal->Record(binding->map, parameter);
}

void ORNCWriteJournal::Record(int map, PvGenParameter& parameter) {
    PvGenType type = PvGenTypeUndefined;
    Entry entry{map, parameter.GetName().str(), {}, {}};
    PvString value;
    if (parameter.GetType(type).IsFailure() || type == PvGenTypeCommand || parameter.ToString(value).IsFailure()) {
        return;  // a command is an action, not a setting
    }
    entry.value = value.str();
    PvGenParameterList selecting;
    parameter.GetSelectingParameters(selecting);
    for (uint32_t i = 0; i < selecting.GetSize(); ++i) {
        PvString selector_value;
        if (selecting.GetItem(i)->ToString(selector_value).IsOK()) {
            entry.selectors.emplace_back(selecting.GetItem(i)->GetName().str(), selector_value.str());
        }
    }
    std::lock_guard<std::mutex> guard(lock_);
    for (Entry& known : entries_) {
        if (known.map == map && known.name == entry.name && known.selectors == entry.selectors) {
            known.value = entry.value;
            return;
        }
    }
    entries_.push_back(std::move(entry));
}

int ORNCWriteJournal::Replay(const std::vector<Entry>& entries, PvGenParameterArray* const maps[kMapCount]) {
    int failed = 0;
    std::vector<const Entry*> selectors;
    for (const Entry& entry : entries) {
        PvGenParameterArray* map = maps[entry.map];
        for (const auto& selector : entry.selectors) {
            failed += ORNC_WriteText(map, selector.first, selector.second) ? 0 : 1;
        }
        failed += ORNC_WriteText(map, entry.name, entry.value) ? 0 : 1;
        PvGenParameter* parameter = map != nullptr ? map->Get(PvString(entry.name.c_str())) : nullptr;
        bool selector = false;
        if (parameter != nullptr && parameter->IsSelector(selector).IsOK() && selector) {
            selectors.push_back(&entry);
        }
    }
    for (const Entry* entry : selectors) {
        failed += ORNC_WriteText(maps[entry->map], entry->name, entry->value) ? 0 : 1;
    }
    return failed;
}
