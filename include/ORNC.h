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

/* ------------------------------------------------------------------ */
/* Handles                                                              */
/* ------------------------------------------------------------------ */

/* Private state of a library handle. Its layout is internal. */
struct ornc_priv_;
typedef struct ornc_priv_ ornc_priv_t;

/* Library handle, one per connected sensor. Owned by the caller (stack or
 * caller structure); the library owns the block behind `priv`, which is
 * NULL while the handle is not initialised. */
typedef struct ornc_ {
    ornc_priv_t* priv;
} ornc_t;

/* Private state of a system handle. Its layout is internal. */
struct ornc_system_priv_;
typedef struct ornc_system_priv_ ornc_system_priv_t;

/* Discovery handle. Owned by the caller; `priv` is NULL while the handle is
 * not initialised or after ORNCSysDestroy. */
typedef struct ornc_system_ {
    ornc_system_priv_t* priv;
} ornc_system_t;

/* Opaque handles lent by the library. Interface and device handles belong
 * to the system handle that produced them and stay valid until its next
 * discovery or its destruction; never free them. The others belong to a
 * connected library handle and stay valid until it disconnects. */
typedef struct ornc_interface_ ornc_interface_t;
typedef struct ornc_device_ ornc_device_t;
typedef struct ornc_parameters_ ornc_parameters_t;
typedef struct ornc_category_ ornc_category_t;
typedef struct ornc_param_ ornc_param_t;
typedef struct ornc_param_list_ ornc_param_list_t;

/* One multipart component offered by the connected device: a combination
 * of source, region, component and pixel format. */
typedef struct ornc_component_ {
    orn_int32_t source;
    orn_int32_t region;
    orn_int32_t component;
    char compname[32];
    orn_int32_t pixelformat;
    char pixelname[32];
} ornc_component_t;

typedef enum ornc_acqui_mode_ {
    ORNC_ACQUI_MODE_IDLE = 0,
    ORNC_ACQUI_MODE_CONT = 1,
    ORNC_ACQUI_MODE_SINGLE = 2
} ornc_acqui_mode_t;

/* Acquisition state word: trigger mode on, a software trigger awaiting
 * its image, and the running ornc_acqui_mode_t. */
typedef struct ornc_acqui_state_ {
    unsigned int trig : 1;
    unsigned int triggered : 1;
    unsigned int mode : 2;
    unsigned int reserved : 28;
} ornc_acqui_state_t;

/* How a device may be accessed by this host right now. */
typedef enum ornc_access_type_ {
    ORNC_ACCESS_TYPE_UNKNOWN = 0,
    ORNC_ACCESS_TYPE_OPEN = 1,    /* no application controls it */
    ORNC_ACCESS_TYPE_CONTROL = 2, /* another application controls it */
    ORNC_ACCESS_TYPE_READONLY = 3,
    ORNC_ACCESS_TYPE_EXCLUSIVE = 4 /* another application holds it exclusively */
} ornc_access_type_t;

/* ------------------------------------------------------------------ */
/* Library handle and version                                           */
/* ------------------------------------------------------------------ */

/* Sets priv to NULL; does not free a state the handle may still hold. */
ORN_API void ORNCInitEmpty(ornc_t* ornc);
/* Allocates the zero-filled private state. Initialise each handle once:
 * a second ORNCInit on the same handle loses the first state. */
ORN_API ornc_status_t ORNCInit(ornc_t* ornc);
/* Frees the private state (does not disconnect: call ORNCDisconnect first),
 * destroys the library's shared system handle and stops logging. */
ORN_API void ORNCDestroy(ornc_t* ornc);
/* Text copies follow ORN_StringCopy: size query with a NULL buffer. */
ORN_API int ORNCGetVersion(char* buf, int len);
ORN_API int ORNCGetVersionDetail(char* buf, int len);

/* ------------------------------------------------------------------ */
/* Discovery and selection                                              */
/* ------------------------------------------------------------------ */
/* Every function that takes a system pointer accepts NULL and then works
 * on a system handle shared by the whole library (not thread-safe).
 * Only supported models are counted and returned; a device listed twice
 * on one adapter (same serial number and model) is counted once. The
 * supported models are built in, plus one model-name substring per line
 * of "genicam_devices.ini" in the current working directory.
 *
 * The environment variable ORNC_INTERFACES (comma-separated adapter names)
 * limits discovery to those adapters. */

ORN_API ornc_status_t ORNCSysInit(ornc_system_t* sys);
ORN_API void ORNCSysDestroy(ornc_system_t* sys);
/* Runs a discovery; earlier interface and device handles become invalid. */
ORN_API ornc_status_t ORNCSysFindDevices(const ornc_system_t* sys);
ORN_API int ORNCSysGetInterfaceCount(const ornc_system_t* sys);
ORN_API const ornc_interface_t* ORNCSysGetInterface(const ornc_system_t* sys, int nr);
ORN_API int ORNCSysGetDeviceCount(const ornc_system_t* sys);
ORN_API const ornc_device_t* ORNCSysGetDevice(const ornc_system_t* sys, int nr);
ORN_API int ORNCInterfaceGetDeviceCount(const ornc_system_t* sys, const ornc_interface_t* interf);
ORN_API const ornc_device_t* ORNCInterfaceGetDevice(const ornc_system_t* sys, const ornc_interface_t* interf, int nr);
/* NULL or "" selects the first supported device. */
ORN_API const ornc_device_t* ORNCSysGetDeviceByPattern(const ornc_system_t* sys, const char* pattern);
ORN_API const ornc_device_t* ORNCSysGetDeviceBySerialNumber(const ornc_system_t* sys, const char* sn);
/* Dotted decimal, compared as text with the address the device reports. */
ORN_API const ornc_device_t* ORNCSysGetDeviceByIP(const ornc_system_t* sys, const char* ip);

/* ------------------------------------------------------------------ */
/* Adapter and device details, IP configuration                         */
/* ------------------------------------------------------------------ */
/* Text getters follow ORN_StringCopy: they return strlen+1 when the text
 * fitted into `len` characters (or, with a NULL `text`, the size needed),
 * and 0 with an empty string when it did not fit. */

ORN_API int ORNCInterfaceGetIPAddressCount(const ornc_interface_t* interf);
ORN_API int ORNCInterfaceGetIPAddress(const ornc_interface_t* interf, int i, char* text, int len);
ORN_API int ORNCInterfaceGetSubnetMask(const ornc_interface_t* interf, int i, char* text, int len);
/* These two require an adapter handle from ORNCSysGetInterface. */
ORN_API int ORNCInterfaceGetMACAddress(const ornc_interface_t* interf, char* text, int len);
ORN_API int ORNCInterfaceGetDefaultGateway(const ornc_interface_t* interf, char* text, int len);
ORN_API int ORNCInterfaceGetDescription(const ornc_interface_t* interf, char* text, int len);

/* These four require a device handle from a selection function. */
ORN_API int ORNCDeviceGetID(const ornc_device_t* device, char* text, int len);
ORN_API int ORNCDeviceGetModelName(const ornc_device_t* device, char* text, int len);
ORN_API int ORNCDeviceGetVendorName(const ornc_device_t* device, char* text, int len);
ORN_API int ORNCDeviceGetSerialNumber(const ornc_device_t* device, char* text, int len);
/* 0 with `text` untouched for a NULL device. */
ORN_API int ORNCDeviceGetIPAddress(const ornc_device_t* device, char* text, int len);
ORN_API int ORNCDeviceGetMACAddress(const ornc_device_t* device, char* text, int len);
ORN_API int ORNCDeviceGetSubnetMask(const ornc_device_t* device, char* text, int len);
ORN_API int ORNCDeviceGetDefaultGateway(const ornc_device_t* device, char* text, int len);
ORN_API orn_bool_t ORNCDeviceIsDHCPAvailable(const ornc_device_t* device);
ORN_API orn_bool_t ORNCDeviceIsDHCPEnabled(const ornc_device_t* device);
ORN_API orn_bool_t ORNCDeviceIsLLAAvailable(const ornc_device_t* device);
ORN_API orn_bool_t ORNCDeviceIsLLAEnabled(const ornc_device_t* device);
ORN_API orn_bool_t ORNCDeviceIsPersistentAvailable(const ornc_device_t* device);
ORN_API orn_bool_t ORNCDeviceIsPersistentEnabled(const ornc_device_t* device);
/* Either output pointer may be NULL. */
ORN_API ornc_status_t ORNCDeviceGetGEVVersion(const ornc_device_t* device, int* majorpt, int* minorpt);

/* Reads the device's control privilege without taking control. */
ORN_API ornc_access_type_t ORNCGetAccessTypeByIPAddress(const char* ip);
/* Changes the device's address at once (addressed by its MAC address). A
 * new discovery is needed to see the device at its new address. */
ORN_API ornc_status_t ORNCDeviceSetIPConfiguration(const ornc_device_t* device, const char* ip, const char* mask,
                                                   const char* gateway);

#ifdef __cplusplus
}
#endif

#endif /* ORNC_H */
