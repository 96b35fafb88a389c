// SPDX-License-Identifier: MIT
#pragma once

namespace vorn::common::internal {

inline constexpr int kScientificDecimals = 16;

/// The most characters that `writeScientific` writes: sign, 17 digits, point, exponent.
inline constexpr int kScientificRoom = 32;

/// Writes what "%.16e" writes in the C locale; returns the end.
char* writeScientific(char* to, double value) noexcept;

}  // namespace vorn::common::internal
