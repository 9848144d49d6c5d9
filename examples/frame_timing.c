/*
 * frame_timing: connect to the first supported sensor, acquire for a few
 * seconds and print, for each frame, its block id, how long after the
 * device stamped it the frame reached the application, and the frames
 * lost before it; then a summary.
 *
 *   frame_timing [SECONDS]      default 3
 *
 * Lost frames show as gaps in the block ids (blocks_missing), whether the
 * network cut them, the transfer failed or no buffer was free. The latency
 * is the host's clock at the callback minus the device's timestamp placed
 * on the host's clock (host_time_ns), so it includes the time the sensor
 * took to build and send the frame. The delivery is paced at 1 ms with up
 * to 16 buffers per pass, so that a fast sensor is not held back.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "ORNCExt.h"

#define MAX_LATENCIES 100000

typedef struct timing_ {
    ornc_t* ornc;
    long frames;
    long failed;   /* transfers reported with a NULL vector or image */
    long lost;     /* blocks that never became a delivered frame */
    long resent;   /* packets recovered by resend */
    long unmapped; /* frames whose device time has no host time */
    double latency_ms[MAX_LATENCIES];
    long latencies;
} timing_t;

static int fail(const char* what, ornc_status_t status) {
    fprintf(stderr, "frame_timing: %s: %s (%d)\n", what, ORNCGetErrorMessage(status), status);
    return 1;
}

static double now_realtime_ns(void) {
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return (double)now.tv_sec * 1e9 + (double)now.tv_nsec;
}

/* On the acquisition thread, while the frame is being delivered. */
static void on_frame(timing_t* t, int failed) {
    ornc_frame_info_t info;
    double arrived = now_realtime_ns();
    if (failed) {
        t->failed++;
        return;
    }
    if (ORNCGetFrameInfo(t->ornc, &info) != ORNC_OK) return;
    t->frames++;
    if (t->frames > 1) t->lost += info.blocks_missing;
    t->resent += info.packets_resent;
    if (info.host_time_ns == 0) {
        t->unmapped++;
        printf("block %llu: no host time; %u lost before it\n", (unsigned long long)info.block_id, info.blocks_missing);
        return;
    }
    if (t->latencies < MAX_LATENCIES) {
        t->latency_ms[t->latencies++] = (arrived - (double)info.host_time_ns) / 1e6;
    }
    printf("block %llu: latency %.2f ms, %u lost before it, %u packets resent\n", (unsigned long long)info.block_id,
           (arrived - (double)info.host_time_ns) / 1e6, info.blocks_missing, info.packets_resent);
}

static void on_images(orn_image_vec_t* images, void* userdata) { on_frame((timing_t*)userdata, images == NULL); }
/* A failed transfer is reported to both callbacks: it is counted once, in
 * the vector one. */
static void on_image(orn_image_t* image, void* userdata) {
    if (image != NULL) on_frame((timing_t*)userdata, 0);
}

static int by_value(const void* a, const void* b) {
    double x = *(const double*)a, y = *(const double*)b;
    return x < y ? -1 : x > y;
}

static void print_summary(timing_t* t) {
    printf("%ld frames, %ld lost (gaps in the block ids), %ld failed transfers, %ld packets resent\n", t->frames,
           t->lost, t->failed, t->resent);
    if (t->latencies > 0) {
        qsort(t->latency_ms, (size_t)t->latencies, sizeof t->latency_ms[0], by_value);
        printf("latency from the device timestamp: median %.2f ms, max %.2f ms\n", t->latency_ms[t->latencies / 2],
               t->latency_ms[t->latencies - 1]);
    }
    if (t->unmapped > 0) printf("%ld frames without host time (the device clock could not be latched)\n", t->unmapped);
}

int main(int argc, char** argv) {
    int seconds = argc > 1 ? atoi(argv[1]) : 3;
    timing_t* t;
    ornc_status_t status;
    int exit_code;
    ornc_system_t sys;
    ornc_t ornc;
    const ornc_device_t* device;

    if (seconds < 1 || seconds > 3600) seconds = 3;
    t = (timing_t*)calloc(1, sizeof *t);
    if (t == NULL) return fail("memory", ORNC_ERROR);

    status = ORNCSysInit(&sys);
    if (status == ORNC_OK) status = ORNCSysFindDevices(&sys);
    device = status == ORNC_OK ? ORNCSysGetDevice(&sys, 0) : NULL;
    if (device == NULL) {
        ORNCSysDestroy(&sys);
        free(t);
        return fail("no supported sensor found", status != ORNC_OK ? status : ORNC_ERR_DEVICE_NOT_FOUND);
    }
    ORNCInitEmpty(&ornc);
    status = ORNCInit(&ornc);
    if (status == ORNC_OK) status = ORNCConnectByDevice(&ornc, device);
    if (status == ORNC_OK) status = ORNCSetDeliveryPacing(&ornc, 1, 16);
    if (status == ORNC_OK) {
        t->ornc = &ornc;
        ORNCSetImageVecCallback(&ornc, on_images, t);
        ORNCSetImageCallback(&ornc, on_image, t);
        status = ORNCStart(&ornc);
    }
    if (status == ORNC_OK) status = ORNCAcquisitionStartMode(&ornc, 0, 0);
    if (status == ORNC_OK) {
        ORNCSleep(seconds * 1000);
        ORNCAcquisitionStop(&ornc);
        ORNCStop(&ornc); /* waits for a callback in progress */
        print_summary(t);
        exit_code = t->frames > 0 ? 0 : 2;
    } else {
        exit_code = fail("connect and start", status);
    }
    ORNCDisconnect(&ornc);
    ORNCDestroy(&ornc);
    ORNCSysDestroy(&sys);
    free(t);
    return exit_code;
}
