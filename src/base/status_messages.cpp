// Message tables of the status codes: the generic lookup and replacement
// that work on any table, and the base code set's default and working
// tables.
//
// A table is a fixed array of rows; the first row whose message is empty
// ends it. That end-marker rule is part of the interface: emptying a row's
// message hides that row and every row behind it.
#include "status_messages.h"

#include <cstring>
#include <mutex>

namespace {

// The base code set in its fixed order. -5 is deliberately unused.
const orn_error_msg_entry_t kBaseDefaults[ORN_ERROR_TABLE_ROWS] = {
    {ORN_OK, "OK"},
    {ORN_ERROR, "Generic error"},
    {ORN_ERR_OUT_OF_MEMORY, "Out of memory"},
    {ORN_ERR_UNINITIALIZED, "Failed because uninitialized"},
    {ORN_ERR_INTERNAL, "Internal inconsistency"},
    {ORN_ERR_OUT_OF_RANGE, "Argument out of range"},
    {ORN_ERR_ILLEGAL_RANGE, "Illegal range"},
    {ORN_ERR_EMPTY_STRING, "String is NULL or empty"},
    {ORN_ERR_NAME_EXPECTED, "Alpha-numeric name expected"},
    {ORN_ERR_STRING_TOO_LONG, "String too long"},
    {ORN_ERR_OPEN_FILE_READ, "Failed to open file for reading"},
    {ORN_ERR_OPEN_FILE_WRITE, "Failed to open file for writing"},
    {ORN_ERR_OPEN_FILE_APPEND, "Failed to open file for appending"},
    {ORN_ERR_TOO_MANY_ELEMENTS, "Number of available elements exceeded"},
    {ORN_ERR_ELEMENT_EXISTS, "Element already exists"},
    {ORN_ERR_ELEMENT_NOT_FOUND, "Element not found"},
};

orn_error_msg_entry_t g_base_table[ORN_ERROR_TABLE_ROWS];

// Index of the row holding `status`, or -1 (table empty or code absent).
int find_row(const orn_error_msg_entry_t* table, int status) {
    if (table[0].msg[0] == '\0') return -1;
    if (table[0].id == status) return 0;
    for (int row = 1; row < ORN_ERROR_TABLE_ROWS; ++row) {
        if (table[row].msg[0] == '\0') return -1;
        if (table[row].id == status) return row;
    }
    return -1;  // a full table without an end marker: nothing more to search
}

}  // namespace

namespace orn {

std::recursive_mutex& status_table_mutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

bool table_is_initialised(const orn_error_msg_entry_t* table) { return table[0].msg[0] != '\0'; }

orn_error_msg_entry_t* base_table() { return g_base_table; }

orn_status_t set_message(orn_error_msg_entry_t* table, void (*reset)(), int status, const char* msg) {
    std::lock_guard<std::recursive_mutex> lock(status_table_mutex());
    if (!table_is_initialised(table)) reset();
    return ORN_SetErrorMessage(table, status, msg) == 0 ? ORN_OK : ORN_ERROR;
}

const char* get_message(orn_error_msg_entry_t* table, void (*reset)(), int status) {
    std::lock_guard<std::recursive_mutex> lock(status_table_mutex());
    if (!table_is_initialised(table)) reset();
    return ORN_GetErrorMessage(table, status);
}

}  // namespace orn

extern "C" {

const char* ORN_GetErrorMessage(const orn_error_msg_entry_t* table, int status) {
    if (table == nullptr || table[0].msg[0] == '\0') return "INTERNAL";
    const int row = find_row(table, status);
    return row < 0 ? "UNKNOWN" : table[row].msg;
}

int ORN_SetErrorMessage(orn_error_msg_entry_t* table, int status, const char* msg) {
    if (table == nullptr) return 1;
    const int row = find_row(table, status);
    if (row < 0) return 1;
    // A null text is treated as the empty one: the row becomes the end marker.
    std::strncpy(table[row].msg, msg != nullptr ? msg : "", ORN_ERROR_MSG_LEN);
    table[row].msg[ORN_ERROR_MSG_LEN - 1] = '\0';
    return 0;
}

void ORNResetErrorMessages(void) {
    std::lock_guard<std::recursive_mutex> lock(orn::status_table_mutex());
    std::memcpy(g_base_table, kBaseDefaults, sizeof(g_base_table));
}

orn_status_t ORNSetErrorMessage(orn_status_t status, const char* msg) {
    return orn::set_message(g_base_table, ORNResetErrorMessages, status, msg);
}

const char* ORNGetErrorMessage(orn_status_t status) {
    return orn::get_message(g_base_table, ORNResetErrorMessages, status);
}

orn_status_t ORNCopyAndCheckErrorMessages(void* table_arg, void* deftable_arg, int* copied) {
    std::lock_guard<std::recursive_mutex> lock(orn::status_table_mutex());
    auto* table = static_cast<orn_error_msg_entry_t*>(table_arg);
    const auto* deftable = static_cast<const orn_error_msg_entry_t*>(deftable_arg);
    if (table == nullptr || deftable == nullptr || copied == nullptr) return ORN_ERR_INTERNAL;

    if (!orn::table_is_initialised(g_base_table)) ORNResetErrorMessages();
    *copied = 0;
    if (!orn::table_is_initialised(g_base_table)) {
        return deftable[0].msg[0] != '\0' ? ORN_OK : ORN_ERR_INTERNAL;
    }
    if (deftable[0].id != g_base_table[0].id) return ORN_ERR_INTERNAL;

    int row = 0;
    for (;; ++row) {
        table[row].id = deftable[row].id;
        std::memcpy(table[row].msg, g_base_table[row].msg, ORN_ERROR_MSG_LEN);
        ++*copied;
        // The last table row can never be followed by anything.
        if (row + 1 >= ORN_ERROR_TABLE_ROWS) return ORN_ERR_INTERNAL;
        if (g_base_table[row + 1].msg[0] == '\0') break;
        if (deftable[row + 1].id != g_base_table[row + 1].id) return ORN_ERR_INTERNAL;
    }
    // The other set must go on with codes of its own behind the base rows.
    return deftable[row + 1].msg[0] != '\0' ? ORN_OK : ORN_ERR_INTERNAL;
}

}  // extern "C"
