// SPDX-License-Identifier: MIT
#include <vorn/common/export.h>

extern "C" VORN_GW_COMMON_EXPORT int somethingElse() {
    return 1;
}
