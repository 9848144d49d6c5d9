/* A device-less Aravis device whose memory is bytes bound to it: a node
 * map built on it reads its ports (registers at offsets within those
 * bytes) from what was bound last. The event-data features read an event's
 * data through one; each chunk port reads its chunk of the attached buffer
 * through one. Reads outside the bytes, reads while nothing is bound and
 * every write fail, with `what` (for example "event data") in the message.
 *
 * Ownership: created with one reference (g_object_unref releases it); the
 * bytes are borrowed and must stay valid until replaced or unbound.
 * Threads: no locking of its own; the caller serialises binds and reads. */
#ifndef ORNC_PLATFORM_BOUND_DATA_DEVICE_H
#define ORNC_PLATFORM_BOUND_DATA_DEVICE_H

#include <arv.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* `what` is copied. */
ArvDevice* ornc_bound_data_device_new(const char* what);
/* The bytes reads are answered from; null unbinds. */
void ornc_bound_data_device_bind(ArvDevice* device, const uint8_t* data, size_t size);

#ifdef __cplusplus
}
#endif

#endif /* ORNC_PLATFORM_BOUND_DATA_DEVICE_H */
