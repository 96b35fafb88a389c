// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace vorn::common::internal {

/// The wall clock, right behind January 2038 too. `std::chrono::system_clock::now` is not where
/// time_t has 32 bits: the call below it fails then, and the C++ library takes what happens to be
/// on its stack.
[[nodiscard]] std::chrono::system_clock::time_point wallClockNow() noexcept;

}  // namespace vorn::common::internal
