/* A program of a library user: built against the installed tree only. */
#include <ORNC.h>
#include <stdio.h>
#include <string.h>

int main(void) {
    char version[128];
    ornc_system_t sys;
    if (ORNCGetVersion(version, (int)sizeof version) <= 1) {
        fprintf(stderr, "consumer: no version text\n");
        return 1;
    }
    if (strcmp(ORNCGetErrorMessage(ORNC_ERR_DEVICE_NOT_FOUND), "Device not found") != 0) {
        fprintf(stderr, "consumer: unexpected message '%s'\n", ORNCGetErrorMessage(ORNC_ERR_DEVICE_NOT_FOUND));
        return 1;
    }
    if (ORNCSysInit(&sys) != ORNC_OK) return 1;
    ORNCSysDestroy(&sys);
    printf("consumer: libORNC %s\n", version);
    return 0;
}
