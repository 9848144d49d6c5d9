// The opaque public handles are platform objects passed through unchanged;
// these are the only places where they change type. Node access changes
// device state, so the node classes take no const: the const of the public
// signatures only says the value is not written.
#pragma once

#include "ORNC.h"
#include "platform/PvDeviceInfo.h"
#include "platform/PvGenCategory.h"
#include "platform/PvGenParameter.h"
#include "platform/PvGenParameterArray.h"
#include "platform/PvGenParameterList.h"
#include "platform/PvInterface.h"

inline const PvInterface* ORNC_ToInterface(const ornc_interface_t* interf) {
    return reinterpret_cast<const PvInterface*>(interf);
}
inline const ornc_interface_t* ORNC_FromInterface(const PvInterface* interf) {
    return reinterpret_cast<const ornc_interface_t*>(interf);
}
inline const PvDeviceInfo* ORNC_ToDeviceInfo(const ornc_device_t* device) {
    return reinterpret_cast<const PvDeviceInfo*>(device);
}
inline const ornc_device_t* ORNC_FromDeviceInfo(const PvDeviceInfo* device) {
    return reinterpret_cast<const ornc_device_t*>(device);
}

inline PvGenParameterArray* ORNC_ToParams(const ornc_parameters_t* params) {
    return reinterpret_cast<PvGenParameterArray*>(const_cast<ornc_parameters_t*>(params));
}
inline ornc_parameters_t* ORNC_FromParams(PvGenParameterArray* params) {
    return reinterpret_cast<ornc_parameters_t*>(params);
}
inline PvGenCategory* ORNC_ToCategory(const ornc_category_t* category) {
    return reinterpret_cast<PvGenCategory*>(const_cast<ornc_category_t*>(category));
}
inline ornc_category_t* ORNC_FromCategory(PvGenCategory* category) {
    return reinterpret_cast<ornc_category_t*>(category);
}
inline PvGenParameter* ORNC_ToParam(const ornc_param_t* param) {
    return reinterpret_cast<PvGenParameter*>(const_cast<ornc_param_t*>(param));
}
inline ornc_param_t* ORNC_FromParam(PvGenParameter* param) { return reinterpret_cast<ornc_param_t*>(param); }
inline PvGenParameterList* ORNC_ToParamList(ornc_param_list_t* list) {
    return reinterpret_cast<PvGenParameterList*>(list);
}
inline ornc_param_list_t* ORNC_FromParamList(PvGenParameterList* list) {
    return reinterpret_cast<ornc_param_list_t*>(list);
}

// The kind of node behind a non-null `param`.
inline PvGenType ORNC_ParamKind(const ornc_param_t* param) {
    PvGenType type = PvGenTypeUndefined;
    ORNC_ToParam(param)->GetType(type);
    return type;
}

// The node of `param` as the class `Node`, or null for a null handle or a
// node of another kind: a failed cast is a type error, never a conversion.
template <typename Node>
Node* ORNC_ParamAs(const ornc_param_t* param) {
    return param != nullptr ? dynamic_cast<Node*>(ORNC_ToParam(param)) : nullptr;
}
