// Internal access to the status message tables for the code sets built on
// top of the base set.
#pragma once

#include <mutex>

#include "ORNBase.h"

namespace orn {

// Serialises building, replacing and looking up messages in every table, so
// that a first use from two threads at once cannot build a table twice.
std::recursive_mutex& status_table_mutex();

// A working table counts as built once its row-0 message is non-empty.
bool table_is_initialised(const orn_error_msg_entry_t* table);

orn_error_msg_entry_t* base_table();

// Replaces (ORN_OK, else ORN_ERROR) or looks up the message of `status` in
// the working table of one code set, with the lock held, after building
// the table with `reset` when it was never built.
orn_status_t set_message(orn_error_msg_entry_t* table, void (*reset)(), int status, const char* msg);
const char* get_message(orn_error_msg_entry_t* table, void (*reset)(), int status);

}  // namespace orn
