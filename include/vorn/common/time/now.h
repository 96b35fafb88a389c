// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <vorn/common/export.h>

namespace vorn::common::time {

/// Reads the monotonic clock: whole seconds since some fixed point, usually the start of the
/// system. For measuring intervals; it says nothing about the wall clock (see UnixTime::now).
///
///     const auto begin = time::now();
///     ...
///     const auto elapsedSeconds = time::now() - begin;
///
/// Threads: safe from any thread. Never goes backwards.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::int64_t now() noexcept;

}  // namespace vorn::common::time
