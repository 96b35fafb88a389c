// SPDX-License-Identifier: MIT
#pragma once

#include <array>

namespace vorn::common::internal {

/// Indexed by a character's code as an unsigned char: the value of a hex digit in either case, or
/// -1. A table, because the digits of an identifier follow no pattern that a branch could learn.
inline constexpr std::array<signed char, 256> kHexValues = [] {
    std::array<signed char, 256> values{};
    values.fill(-1);
    for (unsigned char digit = 0; digit < 10; ++digit) {
        values['0' + digit] = static_cast<signed char>(digit);
    }
    for (unsigned char letter = 0; letter < 6; ++letter) {
        values['a' + letter] = values['A' + letter] = static_cast<signed char>(10 + letter);
    }
    return values;
}();

/// The value of a hex digit in either case, or -1. Independent of the locale.
[[nodiscard]] constexpr int hexValue(char character) noexcept {
    return kHexValues[static_cast<unsigned char>(character)];
}

}  // namespace vorn::common::internal
