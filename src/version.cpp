// SPDX-License-Identifier: MIT
#include "vorn/common/version.h"

namespace vorn::common {

int version() noexcept {
    return VORN_GW_COMMON_VERSION;
}

}  // namespace vorn::common
