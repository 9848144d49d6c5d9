#include "platform/bound_data_device.h"

#include <string.h>

typedef struct {
    ArvDevice parent;
    char* what;
    const uint8_t* data;
    size_t size;
} OrncBoundDataDevice;

typedef struct {
    ArvDeviceClass parent_class;
} OrncBoundDataDeviceClass;

static GType ornc_bound_data_device_get_type(void);

G_DEFINE_TYPE(OrncBoundDataDevice, ornc_bound_data_device, ARV_TYPE_DEVICE)

#define ORNC_BOUND_DATA_DEVICE(object) \
    (G_TYPE_CHECK_INSTANCE_CAST((object), ornc_bound_data_device_get_type(), OrncBoundDataDevice))

static gboolean read_memory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error) {
    OrncBoundDataDevice* self = ORNC_BOUND_DATA_DEVICE(device);
    if (self->data == NULL) {
        g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS, "no %s is bound",
                    self->what);
        return FALSE;
    }
    if (address > self->size || size > self->size - address) {
        g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS,
                    "%s has %lu bytes; %u bytes at offset %lu asked", self->what, (unsigned long)self->size,
                    (unsigned)size, (unsigned long)address);
        return FALSE;
    }
    memcpy(buffer, self->data + address, size);
    return TRUE;
}

static gboolean write_memory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error) {
    (void)address;
    (void)size;
    (void)buffer;
    g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT, "%s is read-only",
                ORNC_BOUND_DATA_DEVICE(device)->what);
    return FALSE;
}

/* Registers in the bound data are big-endian, as on the device. */
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

static void ornc_bound_data_device_init(OrncBoundDataDevice* self) {
    self->what = NULL;
    self->data = NULL;
    self->size = 0;
}

static void finalize(GObject* object) {
    g_free(ORNC_BOUND_DATA_DEVICE(object)->what);
    G_OBJECT_CLASS(ornc_bound_data_device_parent_class)->finalize(object);
}

static void ornc_bound_data_device_class_init(OrncBoundDataDeviceClass* klass) {
    ArvDeviceClass* device_class = ARV_DEVICE_CLASS(klass);
    device_class->read_memory = read_memory;
    device_class->write_memory = write_memory;
    device_class->read_register = read_register;
    device_class->write_register = write_register;
    G_OBJECT_CLASS(klass)->finalize = finalize;
}

ArvDevice* ornc_bound_data_device_new(const char* what) {
    OrncBoundDataDevice* self = g_object_new(ornc_bound_data_device_get_type(), NULL);
    self->what = g_strdup(what != NULL ? what : "data");
    return ARV_DEVICE(self);
}

void ornc_bound_data_device_bind(ArvDevice* device, const uint8_t* data, size_t size) {
    OrncBoundDataDevice* self = ORNC_BOUND_DATA_DEVICE(device);
    self->data = data;
    self->size = data != NULL ? size : 0;
}
