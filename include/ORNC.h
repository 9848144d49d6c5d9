/*
 * ORNC.h - camera API of libORNC: GigE Vision 3D sensors through plain C.
 *
 * Includes ORNBase.h. Every function returns a status code (ornc_status_t),
 * a count, a handle or a neutral value; nothing is thrown. Message texts of
 * the status codes come from ORNCGetErrorMessage and can be replaced.
 */
#ifndef ORNC_H
#define ORNC_H

#include "ORNBase.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ */
/* Status codes                                                         */
/* ------------------------------------------------------------------ */

/* Every base code again under the ORNC_ prefix, plus the camera codes. */
typedef orn_int32_t ornc_status_t;
#define ORNC_OK ORN_OK
#define ORNC_ERROR ORN_ERROR
#define ORNC_ERR_OUT_OF_MEMORY ORN_ERR_OUT_OF_MEMORY
#define ORNC_ERR_UNINITIALIZED ORN_ERR_UNINITIALIZED
#define ORNC_ERR_INTERNAL ORN_ERR_INTERNAL
#define ORNC_ERR_OUT_OF_RANGE ORN_ERR_OUT_OF_RANGE
#define ORNC_ERR_ILLEGAL_RANGE ORN_ERR_ILLEGAL_RANGE
#define ORNC_ERR_EMPTY_STRING ORN_ERR_EMPTY_STRING
#define ORNC_ERR_NAME_EXPECTED ORN_ERR_NAME_EXPECTED
#define ORNC_ERR_STRING_TOO_LONG ORN_ERR_STRING_TOO_LONG
#define ORNC_ERR_OPEN_FILE_READ ORN_ERR_OPEN_FILE_READ
#define ORNC_ERR_OPEN_FILE_WRITE ORN_ERR_OPEN_FILE_WRITE
#define ORNC_ERR_OPEN_FILE_APPEND ORN_ERR_OPEN_FILE_APPEND
#define ORNC_ERR_TOO_MANY_ELEMENTS ORN_ERR_TOO_MANY_ELEMENTS
#define ORNC_ERR_ELEMENT_EXISTS ORN_ERR_ELEMENT_EXISTS
#define ORNC_ERR_ELEMENT_NOT_FOUND ORN_ERR_ELEMENT_NOT_FOUND
#define ORNC_ERR_DEVICE_OPEN_FAILED (-200)
#define ORNC_ERR_DEVICE_CONNECT_FAILED (-201)
#define ORNC_ERR_STREAM_OPEN_FAILED (-202)
#define ORNC_ERR_DEVICE_SELECT_FAILED (-203)
#define ORNC_ERR_DEVICE_NOT_FOUND (-204)
#define ORNC_ERR_PARAM_NOT_WRITEABLE (-205)
#define ORNC_ERR_PARAM_TYPE_MISMATCH (-206)
#define ORNC_ERR_PARAM_WRITE_FAILED (-207)
#define ORNC_ERR_PARAM_NOT_READABLE (-208)
#define ORNC_ERR_PARAM_INVALID_VALUE (-209)
#define ORNC_ERR_PARAM_WRONG_TYPE (-210)
#define ORNC_ERR_PARAM_READ_FAILED (-211)
#define ORNC_ERR_COMMAND_FAILED (-212)
#define ORNC_ERR_ACQUI_ALREADY_STARTED (-213)
#define ORNC_ERR_ACQUI_NOT_STARTED (-214)
#define ORNC_ERR_ACQUI_BUSY (-215)
#define ORNC_ERR_ACQUI_WRONG_MODE (-216)
#define ORNC_ERR_IP_INVALID (-217)
#define ORNC_ERR_DEVICE_NOT_CONNECTED (-218)
#define ORNC_ERR_PARAM_UNDEFINED (-219)
#define ORNC_ERR_VERSION_MISMATCH (-220)
#define ORNC_ERR_DEVICE_UNSUPPORTED (-221)
#define ORNC_ERR_ENUM_ENTRY_NOT_FOUND (-222)
#define ORNC_ERR_PARAM_NOT_AVAILABLE (-223)

/* Rebuilds the camera table from its defaults. The base table is reset to
 * its defaults first, so base messages replaced earlier are lost. */
ORN_API void ORNCResetErrorMessages(void);
ORN_API ornc_status_t ORNCSetErrorMessage(ornc_status_t status, const char* msg);
ORN_API const char* ORNCGetErrorMessage(ornc_status_t status);

#ifdef __cplusplus
}
#endif

#endif /* ORNC_H */
