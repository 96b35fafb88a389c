// SPDX-License-Identifier: MIT
#include "vorn/common/strlcpy.h"

#include <algorithm>
#include <cstring>

#include "internal/assert.h"

namespace vorn::common {

std::size_t strlcpy(char* destination, const char* source, std::size_t size) {
    VORN_ASSERT(source);
    VORN_ASSERT(destination);
    // All of it, whatever fits: the result tells the caller how much room it would have taken.
    const std::size_t length = std::strlen(source);
    if (size != 0) {
        const std::size_t copied = std::min(size - 1, length);
        std::memcpy(destination, source, copied);
        destination[copied] = '\0';
    }
    return length;
}

}  // namespace vorn::common
