// SPDX-License-Identifier: MIT
#pragma once

namespace vorn::common::internal {

/// The character that follows the backslash in the two-character escape of `character`, or 0.
[[nodiscard]] constexpr char escapeLetter(char character) noexcept {
    switch (character) {
        case '\\':
        case '"':
            return character;
        case '\b':
            return 'b';
        case '\f':
            return 'f';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        default:
            return '\0';
    }
}

/// What a backslash and this letter stand for, or 0; a backslash behind a backslash is for the
/// caller. More is read than is written: escaped '/' and apostrophes too.
[[nodiscard]] constexpr char unescaped(char letter) noexcept {
    switch (letter) {
        case '"':
        case '/':
        case '\'':
            return letter;
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return '\0';
    }
}

static_assert([] {
    for (const char character : {'"', '\b', '\f', '\n', '\r', '\t'}) {
        if (unescaped(escapeLetter(character)) != character) {
            return false;
        }
    }
    return true;
}());

}  // namespace vorn::common::internal
