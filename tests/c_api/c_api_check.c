/* Compiled as strict C99: the public headers must stay plain C. */
#include <stdio.h>
#include <string.h>

#include "ORNC.h"

static int failures = 0;

static void check(int condition, const char* what) {
    if (!condition) {
        fprintf(stderr, "FAILED: %s\n", what);
        ++failures;
    }
}

int main(void) {
    orn_image_t image;
    orn_image_vec_t vec;
    char buffer[8];
    int value = -1;
    int index = -1;
    char entries[] = "Off\nOn\nAuto";

    check(strcmp(ORNCGetErrorMessage(ORNC_ERR_DEVICE_NOT_FOUND), "Device not found") == 0, "camera message");
    check(strcmp(ORNGetErrorMessage(ORN_ERR_OUT_OF_MEMORY), "Out of memory") == 0, "base message");
    check(ORNC_ERR_OUT_OF_RANGE == ORN_ERR_OUT_OF_RANGE, "shared code");

    check(ORNImageInit(&image, 4, 3, ORN_PIX_MONO16) == ORN_OK, "image init");
    check(image.pixelsize == 2 && image.dontfree == 0, "image fields");
    ORNImageDestroy(&image);
    check(image.data == NULL && image.type == ORN_PIX_GENERIC, "image destroyed");

    check(ORNImageVecInit(&vec, 3) == ORN_OK && vec.allocated == 3, "vector init");
    check(ORNImageVecDestroy(&vec) == ORN_OK && vec.image == NULL, "vector destroyed");

    check(ORN_StringCopy(NULL, "abc", 0) == 4, "size query");
    check(ORN_StringCopy(buffer, "abc", (int)sizeof buffer) == 4 && strcmp(buffer, "abc") == 0, "copy");

    check(ORN_FindEnumEntry(entries, "Auto", &value, &index) == ORN_OK && value == 2 && index == 2, "enum entry");
    check(ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC) == 0, "logging starts disabled");
    check(ORNPixelTypeGetSize(ORN_PIX_ABC32F) == 12, "pixel size");

    if (failures == 0) printf("c_api_check: all checks passed\n");
    return failures == 0 ? 0 : 1;
}
