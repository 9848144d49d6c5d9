// Numeric limits reported for unbounded parameter ranges, and the two string
// copies every text getter of the library uses.
#include <cfloat>
#include <climits>
#include <cstring>

#include "ORNBase.h"

extern "C" {

orn_int32_t ORNInt32Min(void) { return INT32_MIN; }
orn_int32_t ORNInt32Max(void) { return INT32_MAX; }
orn_uint32_t ORNUInt32Min(void) { return 0u; }
orn_uint32_t ORNUInt32Max(void) { return UINT32_MAX; }
// The smallest positive normal value, not the most negative one: callers
// rely on this established meaning.
float ORNFloatMin(void) { return FLT_MIN; }
float ORNFloatMax(void) { return FLT_MAX; }

void ORNStringCopy(char* dst, const char* src, size_t maxlen) {
    if (dst == nullptr || maxlen == 0) return;
    std::strncpy(dst, src != nullptr ? src : "", maxlen);
    dst[maxlen - 1] = '\0';
}

int ORN_StringCopy(char* dst, const char* src, int len) {
    if (src == nullptr) return 0;
    const size_t length = std::strlen(src);
    if (length >= static_cast<size_t>(INT_MAX)) {
        if (dst != nullptr && len > 0) dst[0] = '\0';
        return 0;
    }
    const int need = static_cast<int>(length) + 1;
    if (dst == nullptr) return need;
    if (need <= len) {
        std::memcpy(dst, src, static_cast<size_t>(need));
        return need;
    }
    // All or nothing: a buffer that is too small receives an empty string.
    if (len > 0) dst[0] = '\0';
    return 0;
}

}  // extern "C"
