/* A program of a library user, compiled as strict C99 with every warning an
 * error: the public headers must stay plain C, and what it calls must link.
 * Built in the tree (c_api_check) and against the installed tree
 * (tests/packaging). */
#include <ORNC.h>
#include <ORNCExt.h>
#include <stdio.h>
#include <string.h>

static int fail(const char* what) {
    fprintf(stderr, "FAILED: %s\n", what);
    return 1;
}

int main(void) {
    char version[128];
    ornc_system_t sys;
    orn_image_t image;
    int value = -1;
    int index = -1;
    char entries[] = "Off\nOn\nAuto";

    if (ORNCGetVersion(version, (int)sizeof version) <= 1) return fail("no version text");
    if (strcmp(ORNCGetErrorMessage(ORNC_ERR_DEVICE_NOT_FOUND), "Device not found") != 0) return fail("camera message");
    if (ORNImageInit(&image, 4, 3, ORN_PIX_MONO16) != ORN_OK || image.pixelsize != 2) return fail("image init");
    ORNImageDestroy(&image);
    if (ORN_FindEnumEntry(entries, "Auto", &value, &index) != ORN_OK || value != 2) return fail("enum entry");
    if (ORNCParamGetUnit(NULL, NULL, 0) != 0) return fail("unit of no parameter");
    if (ORNCSetDeliveryPacing(NULL, 10, 1) != ORNC_ERR_UNINITIALIZED) return fail("pacing without a handle");
    if (ORNCSysInit(&sys) != ORNC_OK) return fail("system init");
    ORNCSysDestroy(&sys);
    printf("libORNC %s: C API OK\n", version);
    return 0;
}
