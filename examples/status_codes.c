/* Prints every status code of the camera API with its message. */
#include <stdio.h>
#include <string.h>

#include "ORNC.h"

int main(void) {
    int code;
    printf("%6s  %s\n", "code", "message");
    for (code = 0; code >= -230; --code) {
        const char* text = ORNCGetErrorMessage(code);
        if (strcmp(text, "UNKNOWN") != 0) printf("%6d  %s\n", code, text);
    }
    return 0;
}
