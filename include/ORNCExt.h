/*
 * ORNCExt.h - extensions of the camera API of libORNC.
 *
 * Includes ORNC.h and keeps its conventions: plain C, every function
 * returns a status code, a count or a neutral value, nothing is thrown.
 * Buffers and outputs belong to the caller; the library keeps no pointer
 * to them after a call returns. Parameter functions may be called from
 * any thread, as those of ORNC.h. An extension changes nothing of the
 * base behaviour until the application calls it.
 */
#ifndef ORNCEXT_H
#define ORNCEXT_H

#include "ORNC.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ */
/* Frame information                                                    */
/* ------------------------------------------------------------------ */

#define ORNC_FRAME_MAX_PARTS 16

/* One part of a delivered buffer, as the frame's leader described it. */
typedef struct ornc_part_info_ {
    uint32_t pixel_format;    /* PFNC code as sent by the device; 0 for a part without pixels */
    uint32_t width, height;   /* pixels; 0 for a part without pixels */
    uint32_t data_type;       /* GVSP part data type (1 2D image, 5 3D image, 9 confidence
                                 map, 10 chunk data, ...); 0 for a single image */
    uint32_t source_id;       /* source and region of the part: the receiver this library is */
    uint32_t region_id;       /* built on keeps neither, so both read 0 */
    uint32_t data_purpose_id; /* the part's component id; 0 for a single image */
} ornc_part_info_t;

/* What the library knows about the frame being delivered. */
typedef struct ornc_frame_info_ {
    uint64_t block_id;            /* 64-bit with extended ids */
    uint64_t timestamp;           /* device ticks, from the frame's leader; 0 when the device
                                     gives no tick frequency */
    uint64_t timestamp_frequency; /* ticks per second, 0 when unknown */
    int64_t host_time_ns;         /* the device timestamp on the host's CLOCK_REALTIME, 0 when not
                                     mapped (a device without a timestamp latch) */
    uint32_t payload_type;        /* GVSP payload type: 1 image, 10 multipart, ... */
    uint32_t blocks_missing;      /* blocks that never became a delivered frame since the previous
                                     delivered one: lost on the network, failed, or dropped for
                                     want of a buffer (from the gap in block ids; 0 for the first
                                     frame of an acquisition) */
    uint32_t packets_resent;      /* packets the receiver asked for again between the previous
                                     frame's completion and this one's: for a delivered frame, its
                                     packets recovered by resend */
    uint32_t part_count;          /* parts of the buffer, the trailing chunk part included; 1 for a
                                     single image; at most ORNC_FRAME_MAX_PARTS are described */
    ornc_part_info_t part[ORNC_FRAME_MAX_PARTS];
} ornc_frame_info_t;

/* The frame being delivered: valid only inside an image or image-vector
 * callback of this handle that received a frame (not NULL), on its
 * acquisition thread; ORNC_ERR_ELEMENT_NOT_FOUND anywhere else (with
 * `*info` zeroed), ORNC_ERR_UNINITIALIZED for a null handle, ORNC_ERROR
 * for a null `info`.
 * The host time maps the device clock through its timestamp latch: the
 * first call of an acquisition, and one every 10 s after, latches the
 * device clock over the control channel (a few round trips, on the
 * acquisition thread). */
ORN_API ornc_status_t ORNCGetFrameInfo(const ornc_t* ornc, ornc_frame_info_t* info);

/* The bytes of part `index` of the frame being delivered, as they arrived
 * (a single image is part 0): also for a pixel format the image records
 * leave empty, such as Coord3D_C16. `*data` points into the library's
 * buffer and is valid only until the callback returns. Valid where
 * ORNCGetFrameInfo is; ORNC_ERR_ELEMENT_NOT_FOUND anywhere else and for an
 * index beyond the parts or a part without data (outputs NULL and 0),
 * ORNC_ERR_UNINITIALIZED for a null handle, ORNC_ERROR for a null output. */
ORN_API ornc_status_t ORNCGetFramePartData(const ornc_t* ornc, uint32_t index, const void** data, size_t* size);

/* ------------------------------------------------------------------ */
/* 64-bit integers, strict text form, units                             */
/* ------------------------------------------------------------------ */

/* The integer node's value in full 64 bits. ORNC_ERR_PARAM_TYPE_MISMATCH
 * for a node of another kind, ORNC_ERROR for a null `value`. */
ORN_API ornc_status_t ORNCParamGetInteger64Value(const ornc_param_t* param, int64_t* value);
/* Writes `value` rounded to the node's step and clamped into its range,
 * as ORNCParamSetIntegerValue does with a 32-bit value. */
ORN_API ornc_status_t ORNCParamSetInteger64Value(ornc_param_t* param, int64_t value);
/* The integer node's range and step; any output may be NULL, every
 * non-NULL one starts at 0. ORNC_ERR_PARAM_WRONG_TYPE for a node that is
 * not an integer, ORNC_ERR_PARAM_NOT_AVAILABLE when the device gives no
 * bound. */
ORN_API ornc_status_t ORNCParamGetInteger64Range(const ornc_param_t* param, int64_t* min, int64_t* max, int64_t* inc);

/* Strict text form of a parameter.
 * Read: enumerations by entry name, integers in full 64-bit decimal,
 * floats with "%.10g", booleans "true"/"false", strings as they are;
 * commands and registers give ORNC_ERROR. A text that does not fit `len`
 * with its terminator gives ORNC_ERR_STRING_TOO_LONG and an empty text;
 * every failure leaves an empty text (when `len` > 0).
 * Write: the whole text must parse, blanks around it allowed: integers in
 * decimal or 0x hexadecimal (up to 64 bits, taken as their two's
 * complement), fitted into the range as ORNCParamSetInteger64Value does;
 * floats, nan and inf refused, clamped as ORNCParamSetFloatValue does;
 * enumerations by entry name or by an entry's number; booleans "true",
 * "false", "1", "0"; strings are written as given. Any other text:
 * ORNC_ERR_PARAM_INVALID_VALUE and nothing written. Commands and
 * registers: ORNC_ERROR. */
ORN_API ornc_status_t ORNCParamGetValueText(const ornc_param_t* param, char* text, size_t len);
ORN_API ornc_status_t ORNCParamSetValueText(ornc_param_t* param, const char* text);
/* The unit of an integer or float node ("ms", "Hz", ...), following
 * ORN_StringCopy; an empty text for a node without one. A NULL handle
 * has no text: 0. */
ORN_API int ORNCParamGetUnit(const ornc_param_t* param, char* str, int len);

/* ------------------------------------------------------------------ */
/* Delivery pacing                                                      */
/* ------------------------------------------------------------------ */

/* Delivery pacing of this handle's acquisition worker: a pass every period_ms (1..1000), taking up to
   max_buffers_per_pass (1..64) filled buffers, each delivered and requeued as the base API does. The
   defaults, 10 and 1, are the base behaviour (setting them restores it). ORNC_ERR_OUT_OF_RANGE outside
   those bounds (nothing changed), ORNC_ERR_UNINITIALIZED for a null handle; takes effect at the next
   pass, also during an acquisition, and lasts for the handle's life. With any other setting a pass starts
   every period_ms (at once when the previous one took longer) and waits for its first buffer until one
   is filled, at most 20 ms (a base pass waits 1 ms and the base worker sleeps 10 ms after each pass):
   the wait ends as soon as a buffer is filled or the acquisition stops. Further buffers are taken only if
   already filled. */
ORN_API ornc_status_t ORNCSetDeliveryPacing(const ornc_t* ornc, int period_ms, int max_buffers_per_pass);

/* ------------------------------------------------------------------ */
/* Monitor connection                                                   */
/* ------------------------------------------------------------------ */

/* Connects without taking control: reads, parameter lists, attributes, ranges, categories, ORNCDumpXML and
   the text forms work; every write and command returns ORNC_ERR_PARAM_NOT_WRITEABLE and sends nothing;
   ORNCStart and the acquisition calls return ORNC_ERR_DEVICE_OPEN_FAILED. Other handles (and other programs)
   may control the device meanwhile. ORNCDisconnect ends it as usual.
   ORNCParamIsWritable answers 0 for every parameter of a monitor. A monitor opens no stream (it has no
   stream parameters) and no message channel (no device events, no link-loss report), and keeps no
   heartbeat. Its component table stays empty: building one moves the device's selectors, which only the
   controller may do (the selectors themselves read as usual). A device that nobody controls is taken and
   given back at once while the monitor connects. ORNC_ERR_DEVICE_CONNECT_FAILED when the device does not
   answer or the handle is connected already, ORNC_ERR_UNINITIALIZED for a null handle,
   ORNC_ERR_DEVICE_NOT_FOUND for a null device. */
ORN_API ornc_status_t ORNCConnectByDeviceMonitor(const ornc_t* ornc, const ornc_device_t* device);

/* ------------------------------------------------------------------ */
/* Automatic recovery after link loss                                   */
/* ------------------------------------------------------------------ */

/* Automatic recovery after link loss, off by default. With enable = 1: when the link is lost (the disconnect
   callback still comes, once, as in the base API), callback(0, data) follows; the library then looks for a
   device with the same serial number on every adapter it asks, at most once a second, reconnects this handle
   to it (its IP address may have changed), writes again the parameter values this handle wrote since its
   connect (the last value of each, in the order first written, selectors before what they select; component
   enables included), starts the acquisition worker and the device's acquisition again if they ran, and calls
   callback(1, data). Device events and link loss are reported again after a recovery. A disconnect, destroy,
   or enable = 0 stops any recovery in progress within 100 ms.
   Details: both callbacks run on the library's recovery thread, which belongs to this handle while recovery
   is enabled; they may call any function of the handle, ORNCSetAutoReconnect, ORNCDisconnect and ORNCDestroy
   included. The writes are recorded from the connect on, also before recovery is enabled.
   `callback` may be NULL. Calling again with enable = 1 only replaces the callback and its data. A value
   written under selectors comes back under the same selector values (ComponentEnable under each
   ComponentSelector value). Between callback(0) and callback(1) the handle answers as a disconnected one;
   the parameter, list and category handles taken before the loss are invalid from callback(0) on and must be
   looked up again after callback(1); the component table and its entries stay. enable = 0 during a recovery
   leaves the handle disconnected. ORNC_ERR_UNINITIALIZED for a null handle. */
typedef void (*ornc_link_callback_t)(int up, void* data);
ORN_API ornc_status_t ORNCSetAutoReconnect(const ornc_t* ornc, int enable, ornc_link_callback_t callback, void* data);

/* ------------------------------------------------------------------ */
/* Action commands                                                      */
/* ------------------------------------------------------------------ */

/* Sends one ACTION_CMD on every adapter the system asks (ORNC_INTERFACES) and to every loopback host it asks,
   with the given keys and mask; scheduled_time 0 fires at once, otherwise at that device time (ns on the
   devices' synchronised clock). acknowledged receives the number of ACTION_ACKs that arrived within 100 ms
   (0 is not an error: devices may be told not to answer). ORNC_ERR_UNINITIALIZED for a null or uninitialised
   system handle.
   Details: each adapter gets the command once, on the subnet broadcast of each of its addresses (the
   limited broadcast when an address has none), the loopback adapter by unicast at each ORNC_LOOPBACK_HOSTS
   address: a device fires once per command it hears. A device answers only when its device key, the group
   key of one of its action groups and the mask match; it fires that group's action signal. Counted are the
   devices whose ack says the action was taken: status success, or late (its time had passed, it fired at
   once; logged as a warning). An ack that refuses it (a full queue of scheduled actions: overflow, ...) is
   logged with its status name and not counted; a device that answers several times counts once; datagrams
   that are no well-formed ack of this command are dropped and logged. The call returns after 100 ms, or as
   soon as every loopback host answered or was refused when no other adapter was asked. `acknowledged` is
   set to 0 first; ORNC_ERROR (logged) for a null `acknowledged`, nothing sent, and when adapters were
   there but the command could be sent on none of them. The system need not have found devices first;
   `sys` is only checked, its device list is left as it is. */
ORN_API ornc_status_t ORNCSysSendActionCommand(ornc_system_t* sys, uint32_t device_key, uint32_t group_key,
                                               uint32_t group_mask, uint64_t scheduled_time, int* acknowledged);

#ifdef __cplusplus
}
#endif

#endif /* ORNCEXT_H */
