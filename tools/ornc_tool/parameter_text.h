// How parameters are shown and set by ornc-tool: type and access words,
// the current value as text (enumerations by entry name), and writes from
// text (enumerations by entry name or number).
#pragma once

#include <string>

#include "ORNCExt.h"

namespace ornctool {

std::string param_name(const ornc_param_t* param);
const char* param_type_name(orn_param_type_t type);
// "RW", "RO", "WO", or "NA" when the parameter is not available.
std::string param_access(const ornc_param_t* param);
const char* visibility_name(orn_param_visibility_t visibility);
// "beginner", "expert", "guru" or "invisible" in any case; false for
// anything else.
bool parse_visibility(const std::string& text, orn_param_visibility_t* visibility);

// The value in the strict text form (integers in 64 bits, enumerations by
// entry name unless `numeric`, IPv4 addresses and masks dotted unless
// `numeric`). Commands and registers have no text form; they give "" and
// ORNC_OK.
ornc_status_t param_value_text(const ornc_param_t* param, bool numeric, std::string* text);
// Writes a value given in the strict text form: a text that is not wholly
// a value of the parameter's kind is refused. Booleans take true/false in
// any case, addresses and masks also the dotted form; a string longer than
// the node holds is refused before anything is written.
ornc_status_t param_set_text(ornc_param_t* param, const std::string& text);

// True for an integer holding an IPv4 address or mask (shown dotted).
bool is_address_param(const ornc_param_t* param);

// What the parameter accepts, for a refusal: the available entries of an
// enumeration with their values, the range and step of a number, the
// longest string; "" when there is nothing to add.
std::string accepted_values(const ornc_param_t* param);

// Unit, range and step in one short text ("0..160 step 8 px"), "" when the
// node has none of them.
std::string range_text(const ornc_param_t* param);

// Text of the ORNCParamGet{DisplayName,Description,Tooltip,Unit,CategoryName}
// family.
std::string param_text(int (*getter)(const ornc_param_t*, char*, int), const ornc_param_t* param);

// The device, stream or communication parameters of a connected handle.
ornc_parameters_t* parameter_map(const ornc_t* ornc, const std::string& map_name);

}  // namespace ornctool
