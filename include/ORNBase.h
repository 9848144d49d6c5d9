/*
 * ORNBase.h - base services of libORNC: status codes and their messages,
 * logging, image records and pixel types, numeric limits, string copies,
 * the periodic worker thread and enumeration-entry texts.
 *
 * Plain C99 interface; safe to include from C++.
 *
 * Ownership in short:
 *  - Records (orn_image_t, orn_image_vec_t, orn_thread_t) belong to the
 *    caller; the library owns only what their `priv`/`data` fields point to
 *    when it allocated it (see each function).
 *  - Message texts returned by the Get*ErrorMessage functions point into
 *    library tables: never free them; a later replacement of that code's
 *    message changes the text seen through the pointer.
 */
#ifndef ORNBASE_H
#define ORNBASE_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__) || defined(__clang__)
#define ORN_API __attribute__((visibility("default")))
#else
#define ORN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ */
/* Scalar types                                                        */
/* ------------------------------------------------------------------ */

typedef uint8_t orn_bool_t; /* 0 false, 1 true */
typedef int32_t orn_int32_t;
typedef uint32_t orn_uint32_t;
typedef uint64_t orn_uint64_t;

/* ------------------------------------------------------------------ */
/* Status codes and their messages                                      */
/* ------------------------------------------------------------------ */

/* 0 is success, every failure is negative. -5 is deliberately unused. */
typedef orn_int32_t orn_status_t;
#define ORN_OK 0
#define ORN_ERROR (-1)
#define ORN_ERR_OUT_OF_MEMORY (-2)
#define ORN_ERR_UNINITIALIZED (-3)
#define ORN_ERR_INTERNAL (-4)
#define ORN_ERR_OUT_OF_RANGE (-6)
#define ORN_ERR_ILLEGAL_RANGE (-7)
#define ORN_ERR_EMPTY_STRING (-8)
#define ORN_ERR_NAME_EXPECTED (-9)
#define ORN_ERR_STRING_TOO_LONG (-10)
#define ORN_ERR_OPEN_FILE_READ (-11)
#define ORN_ERR_OPEN_FILE_WRITE (-12)
#define ORN_ERR_OPEN_FILE_APPEND (-13)
#define ORN_ERR_TOO_MANY_ELEMENTS (-14)
#define ORN_ERR_ELEMENT_EXISTS (-15)
#define ORN_ERR_ELEMENT_NOT_FOUND (-16)

#define ORN_ERROR_MSG_LEN 128 /* bytes of one message, terminator included */
#define ORN_ERROR_TABLE_ROWS 128

/* One row of a message table. A table is an array of ORN_ERROR_TABLE_ROWS
 * rows; the first row whose msg starts with NUL ends it. */
typedef struct orn_error_msg_entry_ {
    orn_int32_t id;
    char msg[ORN_ERROR_MSG_LEN];
} orn_error_msg_entry_t;

/* Generic lookup on any table: the message of `status`, "UNKNOWN" when the
 * code is not in the table, "INTERNAL" when the table is empty. */
ORN_API const char* ORN_GetErrorMessage(const orn_error_msg_entry_t* table, int status);
/* Replaces the message of an existing code (cut to 127 characters).
 * Returns 0, or 1 when the table is empty or has no row for `status`. */
ORN_API int ORN_SetErrorMessage(orn_error_msg_entry_t* table, int status, const char* msg);

/* The base table. Built from its defaults on the first Get or Set. */
ORN_API void ORNResetErrorMessages(void);
ORN_API orn_status_t ORNSetErrorMessage(orn_status_t status, const char* msg);
ORN_API const char* ORNGetErrorMessage(orn_status_t status);
/* Copies the base rows into the head of another code set's working table
 * (`table`), checking that its defaults (`deftable`) list the same codes in
 * the same order. `*copied` receives the number of rows written. */
ORN_API orn_status_t ORNCopyAndCheckErrorMessages(void* table, void* deftable, int* copied);

/* ------------------------------------------------------------------ */
/* Logging                                                              */
/* ------------------------------------------------------------------ */

/* Levels are single bits; a level mask is an OR of them. */
typedef int orn_loglevel_t;
enum {
    ORN_LOGLVL_INFO = 1,
    ORN_LOGLVL_WARN = 2,
    ORN_LOGLVL_ERROR = 4,
    ORN_LOGLVL_SEVERE = 8,
    ORN_LOGLVL_FATAL = 16,
    ORN_LOGLVL_MASK_INFO = 31,
    ORN_LOGLVL_MASK_WARN = 30,
    ORN_LOGLVL_MASK_ERROR = 28,
    ORN_LOGLVL_MASK_SEVERE = 24,
    ORN_LOGLVL_MASK_FATAL = 16,
    ORN_LOGLVL_MASK_ALL = 31
};

/* Categories are single bits. QUEUE lies outside MASK_ALL on purpose. */
typedef int orn_logcategory_t;
enum {
    ORN_LOGCAT_DATATRANSFER = 1,
    ORN_LOGCAT_CONNECT = 2,
    ORN_LOGCAT_PARAM = 4,
    ORN_LOGCAT_MISC = 8,
    ORN_LOGCAT_MASK_ALL = 15,
    ORN_LOGCAT_QUEUE = 256,
    ORN_LOGCAT_MASK_ALLXL = 271
};

/* External sink: receives one finished line (time stamp, level word,
 * message). The text is only valid during the call. */
typedef void (*orn_log_func_t)(const char* line);

ORN_API void ORNLogSetLevel(orn_loglevel_t loglevel);
ORN_API void ORNLogSetCategory(orn_logcategory_t logcategory);
ORN_API void ORNLogSetExternal(orn_log_func_t func);
ORN_API void ORNLogStop(void);
/* Enables logging; opens the stored file name for appending when set.
 * ORN_ERR_OPEN_FILE_APPEND: logging is on, but without a file. */
ORN_API orn_status_t ORNLogStart(int log_console);
ORN_API orn_status_t ORNLogStartFilename(const char* name, int log_console);
/* A different name while a file is open closes it and switches logging off
 * until the next start. */
ORN_API void ORNLogSetFilename(const char* name);
/* True when logging is enabled and both masks admit the message. */
ORN_API orn_bool_t ORNDoLog(orn_loglevel_t loglvl, orn_logcategory_t logcat);
ORN_API void ORNLog(orn_loglevel_t loglvl, orn_logcategory_t logcat, const char* msg);
/* Writes unconditionally (no mask test) to console, file and sink. */
ORN_API void ORNLogMsg(orn_loglevel_t loglvl, orn_logcategory_t logcat, const char* msg);
/* Local time "YYYY:MM:DD hh:mm:ss.mmm"; empty for sizes 1..31. */
ORN_API void ORNTimeToString(char* text, size_t size);

/* ------------------------------------------------------------------ */
/* Pixel types, images and image vectors                                */
/* ------------------------------------------------------------------ */

/* GenICam pixel format codes. MONO32F and C32F name the same code. */
typedef orn_uint32_t orn_pixel_t;
#define ORN_PIX_GENERIC 0x00000000u
#define ORN_PIX_CONF8 0x010800C6u
#define ORN_PIX_MONO8 0x01080001u
#define ORN_PIX_MONO16 0x01100007u
#define ORN_PIX_MONO32F 0x012000BFu
#define ORN_PIX_RGB8 0x02180014u
#define ORN_PIX_RGBA8 0x02200016u
#define ORN_PIX_RGB16 0x02300033u
#define ORN_PIX_RGBA16 0x02400063u
#define ORN_PIX_ABC32F 0x026000C0u
#define ORN_PIX_C32F 0x012000BFu
#define ORN_PIX_AC32F 0x024000C2u
#define ORN_PIX_MONO12 0x01100005u

/* An image record. `data` holds width*height*pixelsize bytes without row
 * padding. With `dontfree` set the buffer belongs to someone else and is
 * never freed or reallocated by these functions. type 0 = empty record. */
typedef struct orn_image_ {
    void* data;
    orn_int32_t width;
    orn_int32_t height;
    orn_pixel_t type;
    orn_int32_t pixelsize;
    orn_int32_t dontfree;
} orn_image_t;

/* A growable array of image records; `used` is set by the producer. */
typedef struct orn_image_vec_ {
    orn_image_t* image;
    orn_int32_t used;
    orn_int32_t allocated;
} orn_image_vec_t;

/* Bytes per pixel of a known code, 0 otherwise. The two are identical. */
ORN_API int ORNPixelTypeGetSize(orn_pixel_t type);
ORN_API int ORN_GetPixelSize(orn_pixel_t pix);

ORN_API void ORNImageInitEmpty(orn_image_t* image);
/* Wraps `data` (borrowed when non-null). */
ORN_API orn_status_t ORNImageInitData(orn_image_t* image, int width, int height, orn_pixel_t type, void* data);
/* Allocates a zero-filled buffer owned by the record. */
ORN_API orn_status_t ORNImageInit(orn_image_t* image, int width, int height, orn_pixel_t type);
ORN_API void ORNImageDestroy(orn_image_t* image);
ORN_API orn_status_t ORNImageResize(orn_image_t* image, int width, int height);

ORN_API void ORNImageVecInitEmpty(orn_image_vec_t* imagevec);
ORN_API orn_status_t ORNImageVecInit(orn_image_vec_t* imagevec, int size);
/* Note: the new array holds `size` bytes, not `size` records, and the record
 * at index `size` is not destroyed when shrinking. Kept for compatibility. */
ORN_API orn_status_t ORNImageVecResize(orn_image_vec_t* imagevec, int size);
ORN_API orn_status_t ORNImageVecDestroy(orn_image_vec_t* imagevec);

/* ------------------------------------------------------------------ */
/* Limits and string copies                                             */
/* ------------------------------------------------------------------ */

ORN_API orn_int32_t ORNInt32Min(void);
ORN_API orn_int32_t ORNInt32Max(void);
ORN_API orn_uint32_t ORNUInt32Min(void);
ORN_API orn_uint32_t ORNUInt32Max(void);
/* Smallest positive normal float (not the most negative value). */
ORN_API float ORNFloatMin(void);
ORN_API float ORNFloatMax(void);

/* Bounded copy: at most maxlen-1 characters survive, always terminated. */
ORN_API void ORNStringCopy(char* dst, const char* src, size_t maxlen);
/* All-or-nothing copy. dst NULL: returns strlen(src)+1 (the size needed).
 * Fits: copies and returns strlen(src)+1. Does not fit: dst becomes "" and
 * 0 is returned. src NULL: 0. */
ORN_API int ORN_StringCopy(char* dst, const char* src, int len);

/* ------------------------------------------------------------------ */
/* Periodic worker thread                                               */
/* ------------------------------------------------------------------ */

struct orn_thread_priv_;

/* Held by value by its owner; priv is NULL when not initialised. */
typedef struct orn_thread_ {
    struct orn_thread_priv_* priv;
} orn_thread_t;

typedef void (*orn_thread_func_t)(void* userdata);

/* Prepares a worker that calls thread_func(userdata), then sleeps `delay`
 * ms, over and over while active. */
ORN_API orn_status_t ORNThreadInit(orn_thread_t* thread, orn_thread_func_t thread_func, void* userdata, int delay);
/* Asks the thread to end, waits up to 100 ms for it, then frees the state.
 * A thread that will not end is signalled as a last resort. */
ORN_API void ORNThreadDestroy(orn_thread_t* thread);
/* Creates the thread (inactive). ORN_OK also when it already runs. */
ORN_API orn_status_t ORNThreadStart(orn_thread_t* thread);
/* Deactivates, waits for a running call of thread_func to return, then
 * asks the loop to end. Does not wait for the thread itself. */
ORN_API orn_status_t ORNThreadStop(orn_thread_t* thread);
ORN_API void ORNThreadActive(orn_thread_t* thread, int active);

ORN_API void ORNCSleep(int ms);

/* ------------------------------------------------------------------ */
/* Enumeration-entry texts                                              */
/* ------------------------------------------------------------------ */
/* A text of entries, one per line: "Name" or "Name:Value" (decimal or
 * 0x-hex). An entry without a value takes the previous value plus one; the
 * first such entry is 0. The text is never written, so read-only memory
 * may be passed. */

ORN_API orn_status_t ORN_GetEnumEntry(char** sptr, char** namestart, size_t* namelen, int* value);
ORN_API orn_status_t ORN_GetEnumValueFromEntries(char* entries, int entry, int* valuept);
ORN_API orn_status_t ORN_GetEnumIndexFromEntries(char* entries, int value, int* index);
ORN_API orn_status_t ORN_FindEnumEntry(char* entries, const char* name, int* value, int* index);

#ifdef __cplusplus
}
#endif

#endif /* ORNBASE_H */
