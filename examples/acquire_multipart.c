/*
 * acquire_multipart: connect to the first supported sensor, enable all its
 * multipart components, acquire for a few seconds through the image-vector
 * callback and print statistics per part.
 *
 *   acquire_multipart [SECONDS]      default 3
 *
 * The callback runs on the library's acquisition thread and sees the pixel
 * data only for its own duration (it lies in a stream buffer that is
 * queued again afterwards), so it only adds up numbers. The main thread
 * reads them after ORNCStop, which waits for a callback in progress.
 *
 * ORNCAcquisitionStop does not wait for the acquisition thread: a pass that
 * was already retrieving may take a buffer the stop aborts and report it
 * with a NULL vector. Such NULLs are counted apart, as buffers handed back
 * by the stop, not as failed transfers.
 */
#include <math.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ORNC.h"

#define MAX_PARTS 8

typedef struct part_stats_ {
    long images; /* deliveries that had this part */
    long empty;  /* of them without data (pixel type without a size) */
    orn_pixel_t type;
    int width, height;
    double valid; /* pixels with a value: non-NaN Z, or non-zero 8-bit */
    double sum;   /* of Z in mm, or of the 8-bit values */
} part_stats_t;

typedef struct acquisition_stats_ {
    long frames;
    long failed;  /* transfers reported with a NULL vector */
    long aborted; /* NULL vectors once the stop had begun */
    atomic_int stopping;
    int max_parts;
    part_stats_t part[MAX_PARTS];
} acquisition_stats_t;

static void add_image(part_stats_t* stats, const orn_image_t* image) {
    long n = (long)image->width * (long)image->height;
    long i;
    stats->images++;
    if (image->data == NULL) {
        stats->empty++;
        return;
    }
    stats->type = image->type;
    stats->width = image->width;
    stats->height = image->height;
    if (image->type == ORN_PIX_ABC32F) {
        const float* xyz = (const float*)image->data;
        for (i = 0; i < n; ++i) {
            float z = xyz[3 * i + 2];
            if (!isnan(z)) {
                stats->valid += 1.0;
                stats->sum += z;
            }
        }
    } else if (image->pixelsize == 1) {
        const unsigned char* p = (const unsigned char*)image->data;
        for (i = 0; i < n; ++i) {
            if (p[i] != 0) stats->valid += 1.0;
            stats->sum += p[i];
        }
    }
}

static void on_images(orn_image_vec_t* images, void* userdata) {
    acquisition_stats_t* stats = (acquisition_stats_t*)userdata;
    int i;
    if (images == NULL) {
        if (atomic_load(&stats->stopping)) {
            stats->aborted++;
        } else {
            stats->failed++;
        }
        return;
    }
    stats->frames++;
    if (images->used > stats->max_parts) stats->max_parts = images->used < MAX_PARTS ? images->used : MAX_PARTS;
    for (i = 0; i < images->used && i < MAX_PARTS; ++i) add_image(&stats->part[i], &images->image[i]);
}

static const char* type_name(orn_pixel_t type) {
    switch (type) {
        case ORN_PIX_ABC32F:
            return "Coord3D_ABC32f";
        case ORN_PIX_MONO8:
            return "Mono8";
        case ORN_PIX_CONF8:
            return "Confidence8";
        case ORN_PIX_MONO16:
            return "Mono16";
        case ORN_PIX_C32F:
            return "Coord3D_C32f";
        case 0:
            return "(no known size)";
        default:
            return "other";
    }
}

static int fail(const char* what, ornc_status_t status) {
    fprintf(stderr, "acquire_multipart: %s: %s (%d)\n", what, ORNCGetErrorMessage(status), status);
    return 1;
}

int main(int argc, char** argv) {
    ornc_system_t sys;
    ornc_t ornc;
    const ornc_device_t* device;
    acquisition_stats_t stats;
    char serial[64];
    int seconds = argc > 1 ? atoi(argv[1]) : 3;
    int i, count;
    ornc_status_t status;

    if (seconds < 1 || seconds > 3600) seconds = 3;
    memset(&stats, 0, sizeof stats);
    atomic_init(&stats.stopping, 0);

    status = ORNCSysInit(&sys);
    if (status == ORNC_OK) status = ORNCSysFindDevices(&sys);
    if (status != ORNC_OK) return fail("discovery", status);
    device = ORNCSysGetDevice(&sys, 0);
    if (device == NULL) {
        ORNCSysDestroy(&sys);
        return fail("no supported sensor found", ORNC_ERR_DEVICE_NOT_FOUND);
    }
    ORNCDeviceGetSerialNumber(device, serial, sizeof serial);

    ORNCInitEmpty(&ornc);
    status = ORNCInit(&ornc);
    if (status == ORNC_OK) status = ORNCConnectByDevice(&ornc, device);
    if (status != ORNC_OK) {
        ORNCDisconnect(&ornc);
        ORNCDestroy(&ornc);
        ORNCSysDestroy(&sys);
        return fail("connect", status);
    }
    printf("connected to %s\n", serial);

    /* Every component the sensor offers, each with its first pixel format. */
    count = ORNCGetComponentCount(&ornc);
    for (i = 0; i < count; ++i) {
        const ornc_component_t* comp = ORNCGetComponent(&ornc, i);
        if (i > 0 && comp->component == ORNCGetComponent(&ornc, i - 1)->component) continue;
        status = ORNCComponentEnable(&ornc, comp, 1);
        printf("component %s (%s): %s\n", comp->compname, comp->pixelname,
               status == ORNC_OK ? "enabled" : ORNCGetErrorMessage(status));
    }

    ORNCSetImageVecCallback(&ornc, on_images, &stats);
    status = ORNCStart(&ornc);
    if (status == ORNC_OK) status = ORNCAcquisitionStartMode(&ornc, 0, 0);
    if (status != ORNC_OK) {
        ORNCDisconnect(&ornc);
        ORNCDestroy(&ornc);
        ORNCSysDestroy(&sys);
        return fail("acquisition start", status);
    }
    ORNCSleep(seconds * 1000);
    atomic_store(&stats.stopping, 1);
    ORNCAcquisitionStop(&ornc);
    ORNCStop(&ornc); /* waits for a callback in progress */

    printf("%ld frames in %d s (%.1f per second), %ld failed transfers\n", stats.frames, seconds,
           (double)stats.frames / seconds, stats.failed);
    if (stats.aborted > 0) printf("%ld buffers handed back by the stop\n", stats.aborted);
    for (i = 0; i < stats.max_parts; ++i) {
        const part_stats_t* p = &stats.part[i];
        double pixels = (double)(p->images - p->empty) * p->width * p->height;
        printf("part %d: %-16s %4d x %-4d images %ld empty %ld", i, type_name(p->type), p->width, p->height, p->images,
               p->empty);
        if (p->type == ORN_PIX_ABC32F && p->valid > 0) {
            printf("  valid %.1f%%  mean Z %.2f mm", 100.0 * p->valid / pixels, p->sum / p->valid);
        } else if (pixels > 0) {
            printf("  non-zero %.1f%%  mean %.1f", 100.0 * p->valid / pixels, p->sum / pixels);
        }
        printf("\n");
    }

    ORNCDisconnect(&ornc);
    ORNCDestroy(&ornc);
    ORNCSysDestroy(&sys);
    return stats.frames > 0 && stats.failed == 0 ? 0 : 2;
}
