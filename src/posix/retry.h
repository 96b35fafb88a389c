// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

namespace vorn::common::internal {

/// Repeats a system call for as long as a signal interrupts it (-1 with EINTR).
template <class Call>
auto retryOnEintr(Call call) {
    decltype(call()) result;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

}  // namespace vorn::common::internal
