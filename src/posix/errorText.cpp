// SPDX-License-Identifier: MIT
#include "posix/errorText.h"

#include <cstring>

namespace vorn::common::internal {

std::string errorText(int errorNumber) {
    char buffer[128];
    // The GNU form: the text may be in the buffer or a constant of the C library.
    return ::strerror_r(errorNumber, buffer, sizeof buffer);
}

}  // namespace vorn::common::internal
