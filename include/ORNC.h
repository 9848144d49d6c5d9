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
 * Environment, read at every discovery:
 *   ORNC_INTERFACES            comma-separated adapter names: only these are
 *                              listed and asked (e.g. "lo")
 *   ORNC_LOOPBACK_HOSTS        loopback has no broadcast, so these addresses
 *                              are asked one by one: "127.0.0.1-127.0.0.8"
 *                              (the default), or a comma-separated list of
 *                              addresses and ranges
 *   ORNC_DISCOVERY_QUIET_MS    listening ends this long after the last
 *                              answer (default 100)
 *   ORNC_DISCOVERY_TIMEOUT_MS  and never lasts longer than this (default
 *                              1000) */

ORN_API ornc_status_t ORNCSysInit(ornc_system_t* sys);
ORN_API void ORNCSysDestroy(ornc_system_t* sys);
/* Runs a discovery; earlier interface and device handles become invalid. */
ORN_API ornc_status_t ORNCSysFindDevices(const ornc_system_t* sys);
ORN_API int ORNCSysGetInterfaceCount(const ornc_system_t* sys);
ORN_API const ornc_interface_t* ORNCSysGetInterface(const ornc_system_t* sys, int nr);
ORN_API int ORNCSysGetDeviceCount(const ornc_system_t* sys);
ORN_API const ornc_device_t* ORNCSysGetDevice(const ornc_system_t* sys, int nr);
/* A NULL adapter gives 0 and NULL: it never widens the search to all. */
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

/* ------------------------------------------------------------------ */
/* Connect and disconnect                                               */
/* ------------------------------------------------------------------ */
/* Connecting opens the control and stream channels, queues at most 16
 * stream buffers, looks up the acquisition nodes, enables multipart
 * transfer and builds the component table. A connect that fails part-way
 * keeps what it already opened (a device that connected stays connected);
 * call ORNCDisconnect to release it. Disconnect before connecting a handle
 * again. The device handle is only read; it stays owned by its system. */

ORN_API ornc_status_t ORNCConnectByDevice(const ornc_t* ornc, const ornc_device_t* device);
/* ORNC_ERROR for a NULL handle; a key no supported device matches gives
 * ORNC_ERR_DEVICE_NOT_FOUND. A NULL `sys` uses the shared system handle. */
ORN_API ornc_status_t ORNCConnectBySerialNumber(const ornc_t* ornc, const ornc_system_t* sys, const char* sn);
ORN_API ornc_status_t ORNCConnectByPattern(const ornc_t* ornc, const ornc_system_t* sys, const char* pattern);
ORN_API ornc_status_t ORNCConnectByIPAddress(const ornc_t* ornc, const ornc_system_t* sys, const char* ip);
/* Stops the acquisition worker, closes the stream and the device and frees
 * the buffers. Parameter and category handles obtained while connected
 * must not be used afterwards (the component table stays). */
ORN_API ornc_status_t ORNCDisconnect(ornc_t* ornc);
/* Saves the connected device's GenICam description file: a name ending in
 * ".zip" gets a zip archive holding it, any other name the plain XML.
 * ORNC_ERROR when the handle is not connected or the file cannot be made. */
ORN_API ornc_status_t ORNCDumpXML(ornc_t* ornc, const char* filename);

/* ------------------------------------------------------------------ */
/* Multipart components and selectors                                   */
/* ------------------------------------------------------------------ */
/* The component table is built at connect: one entry per combination of
 * source, region, component and available pixel format (at most 100). It
 * lives inside the handle: pointers into it stay valid until ORNCDestroy.
 * A second connect of the same handle appends to the table. Enabling or
 * querying a component leaves the three selectors on that component. */

ORN_API int ORNCGetComponentCount(ornc_t* ornc);
/* Stores a pointer to the handle's own table (not a copy); either output
 * pointer may be NULL. */
ORN_API ornc_status_t ORNCGetComponentArray(ornc_t* ornc, ornc_component_t** comp_array, int* comp_count);
/* NULL for an index outside 0 .. count-1. */
ORN_API const ornc_component_t* ORNCGetComponent(ornc_t* ornc, int index);
ORN_API ornc_status_t ORNCGetSourceSelector(const ornc_t* ornc, int* src);
ORN_API ornc_status_t ORNCGetRegionSelector(const ornc_t* ornc, int* rgn);
ORN_API ornc_status_t ORNCGetComponentSelector(const ornc_t* ornc, int* cmp);
ORN_API ornc_status_t ORNCSetSourceSelector(const ornc_t* ornc, int src);
ORN_API ornc_status_t ORNCSetRegionSelector(const ornc_t* ornc, int rgn);
ORN_API ornc_status_t ORNCSetComponentSelector(const ornc_t* ornc, int cmp);
/* Enabling also sets the component's pixel format; disabling leaves it. */
ORN_API ornc_status_t ORNCComponentEnable(ornc_t* ornc, const ornc_component_t* comp, orn_bool_t enable);
/* 0 when disabled and on any failure. */
ORN_API orn_bool_t ORNCComponentIsEnabled(ornc_t* ornc, const ornc_component_t* comp);

/* ------------------------------------------------------------------ */
/* Persistent IP configuration                                          */
/* ------------------------------------------------------------------ */

/* Writes the persistent address, mask and gateway (dotted decimal) of the
 * connected device, then switches persistent IP at power-up on or off.
 * A failed write keeps the writes before it. */
ORN_API ornc_status_t ORNCIPMakePersistent(const ornc_t* ornc, const char* ip, const char* mask, const char* gateway,
                                           orn_bool_t use_persistent);

/* ------------------------------------------------------------------ */
/* Parameters: arrays, categories, attributes                           */
/* ------------------------------------------------------------------ */
/* Parameter arrays, categories, parameters and parameter lists are lent by
 * the connected handle: never free them; they stay valid until the handle
 * disconnects. Unless a comment says otherwise the handles passed in must
 * be valid (non-NULL) handles of a connected library handle. */

/* Kind of a parameter. An integer node is ORN_PARAM_INTEGER when its range
 * fits a signed 32-bit int (or exceeds it on both sides), ORN_PARAM_UINTEGER
 * when it fits an unsigned one, and ORN_PARAM_NONE otherwise. Values 9 to
 * 12 are never returned; they are kept for compatibility. */
typedef enum orn_param_type_ {
    ORN_PARAM_NONE = 0,
    ORN_PARAM_BOOLEAN = 1,
    ORN_PARAM_COMMAND = 2,
    ORN_PARAM_ENUM = 3,
    ORN_PARAM_FLOAT = 4,
    ORN_PARAM_INTEGER = 5,
    ORN_PARAM_UINTEGER = 6,
    ORN_PARAM_STRING = 7,
    ORN_PARAM_REGISTER = 8,
    ORN_PARAM_FLOATSWISSKNIFE = 9,
    ORN_PARAM_INTEGERSWISSKNIFE = 10,
    ORN_PARAM_FLOATCONVERTER = 11,
    ORN_PARAM_INTEGERCONVERTER = 12
} orn_param_type_t;

typedef enum orn_param_visibility_ {
    ORN_VIS_BEGINNER = 0,
    ORN_VIS_EXPERT = 1,
    ORN_VIS_GURU = 2,
    ORN_VIS_INVISIBLE = 3,
    ORN_VIS_UNDEFINED = 4
} orn_param_visibility_t;

ORN_API int ORNCGetDeviceParamsCount(const ornc_t* ornc);
ORN_API ornc_parameters_t* ORNCGetDeviceParams(const ornc_t* ornc);
ORN_API int ORNCGetStreamParamsCount(const ornc_t* ornc);
ORN_API ornc_parameters_t* ORNCGetStreamParams(const ornc_t* ornc);
ORN_API int ORNCGetCommunicationParamsCount(const ornc_t* ornc);
ORN_API ornc_parameters_t* ORNCGetCommunicationParams(const ornc_t* ornc);

ORN_API int ORNCParamsGetCategoryCount(const ornc_parameters_t* ornc_params);
/* Indices are not checked here: pass 0 .. count-1. */
ORN_API ornc_category_t* ORNCParamsGetCategory(const ornc_parameters_t* ornc_params, int nr);
ORN_API ornc_category_t* ORNCParamsGetCategoryByName(const ornc_parameters_t* ornc_params, const char* name);
ORN_API ornc_param_t* ORNCParamsGetParam(const ornc_parameters_t* ornc_params, int nr);
ORN_API ornc_param_t* ORNCParamsGetParamByName(const ornc_parameters_t* ornc_params, const char* name);
/* The nr-th parameter (from 0) whose category is `cat`; NULL past the end. */
ORN_API ornc_param_t* ORNCParamsGetParamInCategory(const ornc_parameters_t* ornc_params, ornc_category_t* cat, int nr);

/* Name texts follow ORN_StringCopy: with a NULL `str` the size needed is
 * returned; a text that does not fit leaves "" and returns 0. */
ORN_API int ORNCCategoryGetName(const ornc_category_t* category, char* str, int len);
ORN_API int ORNCCategoryGetDisplayName(const ornc_category_t* category, char* str, int len);
ORN_API int ORNCParamGetCategoryName(const ornc_param_t* param, char* str, int len);
ORN_API int ORNCParamGetName(const ornc_param_t* param, char* str, int len);
ORN_API int ORNCParamGetDisplayName(const ornc_param_t* param, char* str, int len);
ORN_API int ORNCParamGetDescription(const ornc_param_t* param, char* str, int len);
ORN_API int ORNCParamGetTooltip(const ornc_param_t* param, char* str, int len);

/* Accepts NULL (ORN_PARAM_NONE). */
ORN_API orn_param_type_t ORNCParamGetType(const ornc_param_t* param);
ORN_API orn_bool_t ORNCParamIsAvailable(const ornc_param_t* param);
ORN_API orn_bool_t ORNCParamIsReadable(const ornc_param_t* param);
ORN_API orn_bool_t ORNCParamIsWritable(const ornc_param_t* param);
ORN_API orn_bool_t ORNCParamIsCached(const ornc_param_t* param);
/* `visibility` is ignored (kept for compatibility). */
ORN_API orn_bool_t ORNCParamIsVisible(const ornc_param_t* param, orn_param_visibility_t visibility);
ORN_API orn_param_visibility_t ORNCParamGetVisibility(const ornc_param_t* param);
ORN_API orn_bool_t ORNCParamIsSelector(const ornc_param_t* param);
/* True when some selector selects this parameter. */
ORN_API orn_bool_t ORNCParamIsSelected(const ornc_param_t* param);
/* Parameters this selector selects. The array form returns the count, -1
 * when `len` is too small (the `len` entries are set to NULL), -2 for
 * inconsistent arguments. */
ORN_API int ORNCParamGetSelectedCount(const ornc_param_t* param);
ORN_API ornc_param_t* ORNCParamGetSelectedIndex(const ornc_param_t* param, int index);
ORN_API int ORNCParamGetSelectedArray(const ornc_param_t* param, ornc_param_t** arr, int len);
/* Selectors of this parameter; same conventions. */
ORN_API int ORNCParamGetSelectingCount(const ornc_param_t* param);
ORN_API ornc_param_t* ORNCParamGetSelectingIndex(const ornc_param_t* param, int index);
ORN_API int ORNCParamGetSelectingArray(const ornc_param_t* param, ornc_param_t** arr, int len);
/* Number of values a selector can take; 0 for a non-selector. */
ORN_API int ORNCParamGetSelectingRange(const ornc_param_t* param);

/* ------------------------------------------------------------------ */
/* Parameters: typed values and ranges                                  */
/* ------------------------------------------------------------------ */
/* Checks come in this order: access (readable/writable), node kind, then
 * the device. Integer writes are rounded to the node's step and clamped
 * into its range, float writes clamped: numbers are never refused for
 * range. Values are read from and written to the device at each call. */

ORN_API ornc_status_t ORNCParamGetIntegerValue(const ornc_param_t* param, int* value);
ORN_API ornc_status_t ORNCParamGetUIntegerValue(const ornc_param_t* param, unsigned int* value);
ORN_API ornc_status_t ORNCParamGetFloatValue(const ornc_param_t* param, float* value);
ORN_API ornc_status_t ORNCParamGetBooleanValue(const ornc_param_t* param, int* value);
/* Copies `maxlen` raw bytes; no terminator is added. */
ORN_API ornc_status_t ORNCParamGetRegisterValue(const ornc_param_t* param, char* value, size_t maxlen);
/* Length + 1 of the current text, 0 on any failure. */
ORN_API int ORNCParamGetStringSize(const ornc_param_t* param);
/* A text longer than maxlen-1 characters is cut, and still ORNC_OK. */
ORN_API ornc_status_t ORNCParamGetStringValue(const ornc_param_t* param, char* value, size_t maxlen);
ORN_API ornc_status_t ORNCParamGetStringMaxSize(const ornc_param_t* param, int* maxsize);
/* ORNC_OK once the command was sent, whatever the device answered. */
ORN_API ornc_status_t ORNCParamSendCommand(ornc_param_t* param);
ORN_API ornc_status_t ORNCParamSetIntegerValue(ornc_param_t* param, int value);
ORN_API ornc_status_t ORNCParamSetUIntegerValue(ornc_param_t* param, unsigned int value);
ORN_API ornc_status_t ORNCParamSetFloatValue(ornc_param_t* param, float value);
ORN_API ornc_status_t ORNCParamSetBooleanValue(ornc_param_t* param, int value);
ORN_API ornc_status_t ORNCParamSetStringValue(ornc_param_t* param, const char* value);
ORN_API ornc_status_t ORNCParamSetRegisterValue(ornc_param_t* param, const char* value, int len);
/* Range getters: every output pointer may be NULL. */
ORN_API ornc_status_t ORNCParamGetIntegerMinMaxIncValues(const ornc_param_t* param, int* minval, int* maxval,
                                                         unsigned int* incval);
ORN_API ornc_status_t ORNCParamGetIntegerMinValue(const ornc_param_t* param, int* minval);
ORN_API ornc_status_t ORNCParamGetIntegerMaxValue(const ornc_param_t* param, int* maxval);
ORN_API ornc_status_t ORNCParamGetIntegerIncValue(const ornc_param_t* param, unsigned int* incval);
ORN_API ornc_status_t ORNCParamGetUIntegerMinMaxIncValues(const ornc_param_t* param, unsigned int* minval,
                                                          unsigned int* maxval, unsigned int* incval);
ORN_API ornc_status_t ORNCParamGetUIntegerMinValue(const ornc_param_t* param, unsigned int* minval);
ORN_API ornc_status_t ORNCParamGetUIntegerMaxValue(const ornc_param_t* param, unsigned int* maxval);
ORN_API ornc_status_t ORNCParamGetUIntegerIncValue(const ornc_param_t* param, unsigned int* incval);
ORN_API ornc_status_t ORNCParamGetFloatMinMaxValues(const ornc_param_t* param, float* minval, float* maxval);
ORN_API ornc_status_t ORNCParamGetFloatMinValue(const ornc_param_t* param, float* minval);
ORN_API ornc_status_t ORNCParamGetFloatMaxValue(const ornc_param_t* param, float* maxval);

/* ------------------------------------------------------------------ */
/* Parameters: enumerations and text form                               */
/* ------------------------------------------------------------------ */
/* Enumeration values are the entries' integers (low 32 bits). Entry
 * indices run over all entries, available or not. Entry names and display
 * names are cut to the buffer and still succeed. */

ORN_API ornc_status_t ORNCParamGetEnumValue(const ornc_param_t* param, int* value);
ORN_API ornc_status_t ORNCParamSetEnumValue(ornc_param_t* param, int value);
ORN_API ornc_status_t ORNCParamSetEnumValueByName(ornc_param_t* param, const char* value);
ORN_API ornc_status_t ORNCParamGetEnumEntryCount(const ornc_param_t* param, int* cnt);
ORN_API ornc_status_t ORNCParamGetEnumEntryValue(const ornc_param_t* param, int nr, int* valuept);
ORN_API ornc_status_t ORNCParamGetEnumEntryAvailable(const ornc_param_t* param, int nr, orn_bool_t* availpt);
ORN_API ornc_status_t ORNCParamGetEnumEntryName(const ornc_param_t* param, int nr, char* str, int len);
ORN_API ornc_status_t ORNCParamGetEnumEntryDisplayName(const ornc_param_t* param, int nr, char* str, int len);
/* Text form of any integer, enumeration (its number), boolean ("true",
 * "false", or a number), string and float parameter. The read gives the
 * whole text or, with ORNC_ERR_STRING_TOO_LONG, an empty one (strings are
 * cut instead, as ORNCParamGetStringValue does). */
ORN_API ornc_status_t ORNCParamSetValue(ornc_param_t* param, const char* str);
ORN_API ornc_status_t ORNCParamGetValue(const ornc_param_t* param, char* value, size_t maxlen);

/* ------------------------------------------------------------------ */
/* Callbacks: images, disconnect, device events, parameter changes      */
/* ------------------------------------------------------------------ */
/* The setters store a callback and its user data in the handle; a NULL
 * callback switches that notification off. They may be called at any
 * time (also while acquiring) and take no lock: a change while callbacks
 * are running may pair the new callback with the old user data once.
 *
 * Threads and ownership:
 * - Image and image-vector callbacks run on the handle's acquisition
 *   thread. The records and the pixel data they point to belong to the
 *   library: the data lies in a stream buffer that is queued again as
 *   soon as the callback returns, so it is valid only during the callback.
 *   Copy what you keep; never free, resize or destroy the records. A
 *   transfer that failed is reported by calling both callbacks with NULL.
 * - The image-vector callback gets one entry per part of a multipart
 *   frame, in the device's part order; a trailing non-image part (chunk
 *   data) is left out, and a part whose pixel type has no known size is an
 *   empty entry (data NULL, type 0). Single images go to the image
 *   callback only.
 * - The disconnect callback runs on a transport thread when the link to
 *   the device is lost (not for ORNCDisconnect itself); call ORNCDisconnect
 *   from the application's thread afterwards, never from the callback.
 * - The event callback runs on a transport thread for each GenICam event
 *   of the device; its first argument is the event's timestamp, the list
 *   holds the event's data parameters (read them with the parameter
 *   functions). List and parameters are lent for the duration of the
 *   callback.
 * - The disconnect and event callbacks reach the application through an
 *   event sink that ORNCStart attaches once per handle; a handle that
 *   disconnects and connects again no longer reports link loss or device
 *   events (use a fresh handle for that).
 * Callbacks must return quickly: they hold up delivery or the transport. */

ORN_API void ORNCSetImageCallback(const ornc_t* ornc, void (*callback)(orn_image_t*, void*), void* userdata);
ORN_API void ORNCSetImageVecCallback(const ornc_t* ornc, void (*callback)(orn_image_vec_t*, void*), void* userdata);
ORN_API void ORNCSetDisconnectCallback(const ornc_t* ornc, void (*callback)(void*), void* userdata);
ORN_API void ORNCSetEventCallback(const ornc_t* ornc, void (*callback)(orn_uint64_t, ornc_param_list_t*, void*),
                                  void* userdata);
/* Items of an event's data list; 0 / NULL for a NULL list or a bad index. */
ORN_API int ORNCGetParameterListCount(ornc_param_list_t* list);
ORN_API ornc_param_t* ORNCGetParameterListIndex(ornc_param_list_t* list, int idx);
/* Calls `param_callback` on the thread that changed the parameter, after
 * every change made through the library. Each call adds a callback (two
 * calls on one parameter make both fire); callbacks are never removed.
 * ORNC_ERROR when the parameter refuses the registration. */
ORN_API ornc_status_t ORNCParamSetCallback(ornc_param_t* param, void (*param_callback)(ornc_param_t*, void*),
                                           void* userdata);

/* ------------------------------------------------------------------ */
/* Acquisition start and stop                                           */
/* ------------------------------------------------------------------ */
/* After connecting, ORNCStart once: it starts the handle's acquisition
 * thread (idle), writes the description file when configured, and
 * attaches the event sink. ORNCAcquisitionStart then sets trigger and
 * acquisition mode, queues the stream buffers at the current PayloadSize,
 * enables streaming and sends AcquisitionStart; from then on the thread
 * retrieves at most one buffer every 10 ms and calls the image callbacks
 * (frames that arrive faster wait in the stream's queue of at most 16
 * buffers). ORNCStop waits for a callback in progress to return, then
 * stops the device; ORNCAcquisitionStop does not wait for it. */

ORN_API ornc_status_t ORNCStart(ornc_t* ornc);
/* Always ORNC_OK. Leaves the acquisition counted as started: call
 * ORNCAcquisitionStop before starting again. */
ORN_API ornc_status_t ORNCStop(ornc_t* ornc);
/* Keeps the device's current trigger and acquisition modes. */
ORN_API ornc_status_t ORNCAcquisitionStart(ornc_t* ornc);
/* mode: 0 continuous, 1 single frame, -1 keep the device's; triggered: 0
 * trigger off, 1 trigger on (FrameStart, ORNCTriggerSoftware), -1 keep. */
ORN_API ornc_status_t ORNCAcquisitionStartMode(ornc_t* ornc, int mode, int triggered);
ORN_API ornc_status_t ORNCAcquisitionStop(ornc_t* ornc);

/* ------------------------------------------------------------------ */
/* Trigger and acquisition modes                                        */
/* ------------------------------------------------------------------ */
/* The setters write the device whether or not an acquisition runs. A
 * device without the feature accepts 0 and answers
 * ORNC_ERR_PARAM_UNDEFINED for anything else. */

/* 0 off, 1 on. */
ORN_API ornc_status_t ORNCSetTriggerMode(ornc_t* ornc, int triggermode);
/* The device's TriggerSource value (>= 0), passed through. */
ORN_API ornc_status_t ORNCSetTriggerSource(ornc_t* ornc, int triggersource);
/* 0 "Continuous", 1 "SingleFrame" (entry names matched ignoring case; the
 * entry's position in the list is written). */
ORN_API ornc_status_t ORNCSetAcquisitionMode(ornc_t* ornc, int acquimode);
/* Sends TriggerSoftware to the device first, then reports the library's
 * view: ORNC_OK when armed (the trigger is now pending until its image is
 * delivered), ORNC_ERR_ACQUI_BUSY while a trigger is pending,
 * ORNC_ERR_ACQUI_WRONG_MODE when the acquisition runs without trigger,
 * ORNC_ERR_ACQUI_NOT_STARTED when none runs. The device receives the
 * command in all these cases. */
ORN_API ornc_status_t ORNCTriggerSoftware(ornc_t* ornc);

#ifdef __cplusplus
}
#endif

#endif /* ORNC_H */
