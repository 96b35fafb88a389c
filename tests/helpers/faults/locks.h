// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace faults {

/// How often this thread has locked, unlocked, waited on or notified a mutex or a condition so far.
[[nodiscard]] std::size_t lockOperations();

}  // namespace faults
