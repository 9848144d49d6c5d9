#include "platform/PvGenInteger.h"

#include <arv.h>

#include <limits>

namespace {
ArvGcInteger* as_integer(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcInteger*>(node); }

// Whether the node's kind implements the integer operation `member`.
template <typename Member>
bool declares(Member ArvGcIntegerInterface::*member, ArvGcFeatureNode* node) {
    return ARV_GC_INTEGER_GET_IFACE(as_integer(node))->*member != nullptr;
}

// Reads a bound through `get`; a node kind without that bound declared
// (IntSwissKnife, ...) answers `none`, the end of the 64-bit range.
template <typename Member>
auto bound(ArvGcFeatureNode* node, Member ArvGcIntegerInterface::*member, gint64 (*get)(ArvGcInteger*, GError**),
           int64_t none) {
    return [=](GError** error) { return declares(member, node) ? get(as_integer(node), error) : none; };
}
}  // namespace

PvResult PvGenInteger::GetValue(int64_t& value) const {
    return ReadInto(value, [this](GError** error) { return arv_gc_integer_get_value(as_integer(node()), error); });
}

PvResult PvGenInteger::SetValue(int64_t value) {
    return WriteLocked([&](GError** error) { arv_gc_integer_set_value(as_integer(node()), value, error); });
}

PvResult PvGenInteger::GetMin(int64_t& min) const {
    return ReadInto(
        min,
        bound(node(), &ArvGcIntegerInterface::get_min, arv_gc_integer_get_min, std::numeric_limits<int64_t>::min()),
        Read::Attribute);
}

PvResult PvGenInteger::GetMax(int64_t& max) const {
    return ReadInto(
        max,
        bound(node(), &ArvGcIntegerInterface::get_max, arv_gc_integer_get_max, std::numeric_limits<int64_t>::max()),
        Read::Attribute);
}

PvResult PvGenInteger::GetIncrement(int64_t& increment) const {
    const PvResult result = ReadInto(
        increment, [this](GError** error) { return arv_gc_integer_get_inc(as_integer(node()), error); },
        Read::Attribute);
    // Some node kinds (masked registers among them) have no increment in
    // Aravis; a feature that declares none steps by one.
    if (result.IsFailure() || increment < 1) {
        increment = 1;
        return PvResult::OK;
    }
    return result;
}

PvResult PvGenInteger::GetUnit(PvString& unit) const {
    return ReadLocked(Read::Attribute, [&](GError**) { unit = PvString(arv_gc_integer_get_unit(as_integer(node()))); });
}
