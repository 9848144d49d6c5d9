// Log sites inside the library. Formatting is done only when the message
// will be written: ask ORNDoLog first, then format into a bounded local
// buffer and hand it to ORNLogMsg.
#pragma once

#include <cstdio>

#include "ORNBase.h"

namespace orn {
constexpr int kLogLineSize = 1024;
}

#define ORN_LOGF(level, category, ...)                                       \
    do {                                                                     \
        if (ORNDoLog((level), (category))) {                                 \
            char orn_log_text_[orn::kLogLineSize];                           \
            std::snprintf(orn_log_text_, sizeof orn_log_text_, __VA_ARGS__); \
            ORNLogMsg((level), (category), orn_log_text_);                   \
        }                                                                    \
    } while (0)
