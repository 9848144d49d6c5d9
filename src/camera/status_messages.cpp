// Message table of the camera code set. Its first rows repeat the base codes
// and take their texts from the base table when the table is built; the
// camera codes follow.
#include "base/status_messages.h"

#include <cstring>
#include <mutex>

#include "ORNC.h"
#include "base/log.h"

namespace {

// Rows 0..15 carry only the base codes: their texts come from the base
// table. "Acquistion" in -213/-214 is the established spelling of these
// messages and is kept.
const orn_error_msg_entry_t kCameraDefaults[ORN_ERROR_TABLE_ROWS] = {
    {ORNC_OK, ""},
    {ORNC_ERROR, ""},
    {ORNC_ERR_OUT_OF_MEMORY, ""},
    {ORNC_ERR_UNINITIALIZED, ""},
    {ORNC_ERR_INTERNAL, ""},
    {ORNC_ERR_OUT_OF_RANGE, ""},
    {ORNC_ERR_ILLEGAL_RANGE, ""},
    {ORNC_ERR_EMPTY_STRING, ""},
    {ORNC_ERR_NAME_EXPECTED, ""},
    {ORNC_ERR_STRING_TOO_LONG, ""},
    {ORNC_ERR_OPEN_FILE_READ, ""},
    {ORNC_ERR_OPEN_FILE_WRITE, ""},
    {ORNC_ERR_OPEN_FILE_APPEND, ""},
    {ORNC_ERR_TOO_MANY_ELEMENTS, ""},
    {ORNC_ERR_ELEMENT_EXISTS, ""},
    {ORNC_ERR_ELEMENT_NOT_FOUND, ""},
    {ORNC_ERR_DEVICE_OPEN_FAILED, "Client could not open device"},
    {ORNC_ERR_DEVICE_CONNECT_FAILED, "Connect to device failed"},
    {ORNC_ERR_STREAM_OPEN_FAILED, "Client could not open stream"},
    {ORNC_ERR_DEVICE_SELECT_FAILED, "Selection of device failed"},
    {ORNC_ERR_DEVICE_NOT_FOUND, "Device not found"},
    {ORNC_ERR_PARAM_NOT_WRITEABLE, "Parameter is not writeable"},
    {ORNC_ERR_PARAM_TYPE_MISMATCH, "Parameter type mismatch"},
    {ORNC_ERR_PARAM_WRITE_FAILED, "Parameter write failed"},
    {ORNC_ERR_PARAM_NOT_READABLE, "Parameter is not readable"},
    {ORNC_ERR_PARAM_INVALID_VALUE, "Parameter has invalid value"},
    {ORNC_ERR_PARAM_WRONG_TYPE, "Wrong type of parameter"},
    {ORNC_ERR_PARAM_READ_FAILED, "Parameter read failed"},
    {ORNC_ERR_COMMAND_FAILED, "Command execute failed"},
    {ORNC_ERR_ACQUI_ALREADY_STARTED, "Acquistion already started"},
    {ORNC_ERR_ACQUI_NOT_STARTED, "Acquistion not started"},
    {ORNC_ERR_ACQUI_BUSY, "Acquisition already triggered"},
    {ORNC_ERR_ACQUI_WRONG_MODE, "Wrong acquisition mode"},
    {ORNC_ERR_IP_INVALID, "IP address invalid"},
    {ORNC_ERR_DEVICE_NOT_CONNECTED, "Device not connected"},
    {ORNC_ERR_PARAM_UNDEFINED, "Parameter is undefined"},
    {ORNC_ERR_VERSION_MISMATCH, "Version number does not match"},
    {ORNC_ERR_DEVICE_UNSUPPORTED, "Device not supported"},
    {ORNC_ERR_ENUM_ENTRY_NOT_FOUND, "Enum entry not found"},
    {ORNC_ERR_PARAM_NOT_AVAILABLE, "Parameter not available"},
};

orn_error_msg_entry_t g_camera_table[ORN_ERROR_TABLE_ROWS];

}  // namespace

extern "C" {

void ORNCResetErrorMessages(void) {
    std::lock_guard<std::recursive_mutex> lock(orn::status_table_mutex());
    // The base table goes back to its defaults first; replaced base
    // messages are lost on every rebuild of this table.
    ORNResetErrorMessages();
    int copied = 0;
    const orn_status_t status =
        ORNCopyAndCheckErrorMessages(g_camera_table, const_cast<orn_error_msg_entry_t*>(kCameraDefaults), &copied);
    if (status != ORN_OK) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_MISC, "Internal inconsistency in error tables");
    }
    // Whatever the check said, the camera's own rows come from its defaults.
    for (int row = copied; row < ORN_ERROR_TABLE_ROWS; ++row) g_camera_table[row] = kCameraDefaults[row];
}

ornc_status_t ORNCSetErrorMessage(ornc_status_t status, const char* msg) {
    return orn::set_message(g_camera_table, ORNCResetErrorMessages, status, msg);
}

const char* ORNCGetErrorMessage(ornc_status_t status) {
    return orn::get_message(g_camera_table, ORNCResetErrorMessages, status);
}

}  // extern "C"
