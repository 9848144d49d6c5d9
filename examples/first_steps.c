/*
 * first_steps: find the supported sensors, connect to one, read and write a
 * parameter, disconnect. The smallest complete program on libORNC.
 *
 *   first_steps [DEVICE]     DEVICE: serial number or IPv4 address
 *                            (default: the first supported sensor)
 */
#include <stdio.h>
#include <string.h>

#include "ORNC.h"

static int fail(const char* what, ornc_status_t status) {
    fprintf(stderr, "first_steps: %s: %s (%d)\n", what, ORNCGetErrorMessage(status), status);
    return 1;
}

int main(int argc, char** argv) {
    ornc_system_t sys;
    ornc_t ornc;
    const ornc_device_t* device;
    ornc_param_t* width;
    char text[128];
    int value = 0;
    int i;
    ornc_status_t status;

    /* Discovery: every adapter (or those named in ORNC_INTERFACES). */
    status = ORNCSysInit(&sys);
    if (status != ORNC_OK) return fail("system", status);
    status = ORNCSysFindDevices(&sys);
    if (status != ORNC_OK) return fail("discovery", status);
    printf("%d supported sensor(s)\n", ORNCSysGetDeviceCount(&sys));
    for (i = 0; i < ORNCSysGetDeviceCount(&sys); ++i) {
        const ornc_device_t* d = ORNCSysGetDevice(&sys, i);
        char model[64], serial[64], ip[32];
        ORNCDeviceGetModelName(d, model, sizeof model);
        ORNCDeviceGetSerialNumber(d, serial, sizeof serial);
        ORNCDeviceGetIPAddress(d, ip, sizeof ip);
        printf("  %s  serial %s  at %s\n", model, serial, ip);
    }

    /* Selection: by serial number, IP address, or the first one. */
    if (argc > 1) {
        device = ORNCSysGetDeviceBySerialNumber(&sys, argv[1]);
        if (device == NULL) device = ORNCSysGetDeviceByIP(&sys, argv[1]);
    } else {
        device = ORNCSysGetDeviceByPattern(&sys, NULL);
    }
    if (device == NULL) {
        ORNCSysDestroy(&sys);
        return argc > 1 ? fail(argv[1], ORNC_ERR_DEVICE_NOT_FOUND) : 0;
    }

    /* Connect, then parameters by name. */
    ORNCInitEmpty(&ornc);
    status = ORNCInit(&ornc);
    if (status == ORNC_OK) status = ORNCConnectByDevice(&ornc, device);
    if (status == ORNC_OK) {
        width = ORNCParamsGetParamByName(ORNCGetDeviceParams(&ornc), "Width");
        status = ORNCParamGetIntegerValue(width, &value);
        if (status == ORNC_OK) printf("Width = %d\n", value);
        /* The text form works for every kind of parameter. */
        if (ORNCParamSetValue(ORNCParamsGetParamByName(ORNCGetDeviceParams(&ornc), "ExposureTime"), "2000") ==
                ORNC_OK &&
            ORNCParamGetValue(ORNCParamsGetParamByName(ORNCGetDeviceParams(&ornc), "ExposureTime"), text,
                              sizeof text) == ORNC_OK) {
            printf("ExposureTime = %s\n", text);
        }
    }
    if (status != ORNC_OK) fail("connect", status);
    ORNCDisconnect(&ornc); /* also after a failed connect: it may have opened the device */
    ORNCDestroy(&ornc);
    ORNCSysDestroy(&sys);
    return status == ORNC_OK ? 0 : 1;
}
