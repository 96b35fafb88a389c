// SPDX-License-Identifier: MIT
#include "vorn/common/time/now.h"

#include <chrono>

namespace vorn::common::time {

std::int64_t now() noexcept {
    // Whole seconds of a clock that is never set; its start is of no meaning.
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::nanoseconds(sinceStart).count() / 1'000'000'000;
}

}  // namespace vorn::common::time
