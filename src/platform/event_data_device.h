/* A device-less Aravis device whose memory is the data of one device
 * event: a node map built on it reads its event ports (the registers the
 * description maps onto event data, at offsets within that data) from the
 * bytes last set here. Reads outside those bytes and every write fail.
 *
 * Ownership: created with one reference (g_object_unref releases it); the
 * bytes are borrowed and must stay valid until replaced or cleared.
 * Threads: no locking of its own; the caller serialises set and reads. */
#ifndef ORNC_PLATFORM_EVENT_DATA_DEVICE_H
#define ORNC_PLATFORM_EVENT_DATA_DEVICE_H

#include <arv.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

ArvDevice* ornc_event_data_device_new(void);
/* The bytes reads are answered from; null with size 0 answers none. */
void ornc_event_data_device_set_data(ArvDevice* device, const uint8_t* data, size_t size);

#ifdef __cplusplus
}
#endif

#endif /* ORNC_PLATFORM_EVENT_DATA_DEVICE_H */
