#include "platform/event_data_device.h"

#include <string.h>

typedef struct {
    ArvDevice parent;
    const uint8_t* data;
    size_t size;
} OrncEventDataDevice;

typedef struct {
    ArvDeviceClass parent_class;
} OrncEventDataDeviceClass;

static GType ornc_event_data_device_get_type(void);

G_DEFINE_TYPE(OrncEventDataDevice, ornc_event_data_device, ARV_TYPE_DEVICE)

#define ORNC_EVENT_DATA_DEVICE(object) \
    (G_TYPE_CHECK_INSTANCE_CAST((object), ornc_event_data_device_get_type(), OrncEventDataDevice))

static gboolean read_memory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error) {
    OrncEventDataDevice* self = ORNC_EVENT_DATA_DEVICE(device);
    if (self->data == NULL || address > self->size || size > self->size - address) {
        g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS,
                    "event data has %lu bytes; %u bytes at offset %lu asked", (unsigned long)self->size, (unsigned)size,
                    (unsigned long)address);
        return FALSE;
    }
    memcpy(buffer, self->data + address, size);
    return TRUE;
}

static gboolean write_memory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error) {
    (void)device;
    (void)address;
    (void)size;
    (void)buffer;
    g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT, "event data is read-only");
    return FALSE;
}

/* Registers of event data are big-endian, as on the device. */
static gboolean read_register(ArvDevice* device, guint64 address, guint32* value, GError** error) {
    guint32 raw = 0;
    if (!read_memory(device, address, sizeof raw, &raw, error)) {
        return FALSE;
    }
    *value = GUINT32_FROM_BE(raw);
    return TRUE;
}

static gboolean write_register(ArvDevice* device, guint64 address, guint32 value, GError** error) {
    return write_memory(device, address, sizeof value, &value, error);
}

static void ornc_event_data_device_init(OrncEventDataDevice* self) {
    self->data = NULL;
    self->size = 0;
}

static void ornc_event_data_device_class_init(OrncEventDataDeviceClass* klass) {
    ArvDeviceClass* device_class = ARV_DEVICE_CLASS(klass);
    device_class->read_memory = read_memory;
    device_class->write_memory = write_memory;
    device_class->read_register = read_register;
    device_class->write_register = write_register;
}

ArvDevice* ornc_event_data_device_new(void) {
    return ARV_DEVICE(g_object_new(ornc_event_data_device_get_type(), NULL));
}

void ornc_event_data_device_set_data(ArvDevice* device, const uint8_t* data, size_t size) {
    OrncEventDataDevice* self = ORNC_EVENT_DATA_DEVICE(device);
    self->data = data;
    self->size = data != NULL ? size : 0;
}
