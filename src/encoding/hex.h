#pragma once

namespace vorn::common::internal {

/// The value of a hex digit in either case, or -1. Independent of the locale.
[[nodiscard]] constexpr int hexValue(char character) noexcept {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    if (character >= 'A' && character <= 'F') {
        return character - 'A' + 10;
    }
    return -1;
}

}  // namespace vorn::common::internal
