// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>

namespace vorn::common::internal {

/// Spaces for each level of the Pretty layout, and the most that one serializer writes.
inline constexpr std::size_t kIndentationStep = 2;
inline constexpr std::size_t kMaxIndentation = 200;

/// A line feed and the longest indentation: every shorter one is the beginning of it, so that none
/// is put together while writing.
inline constexpr auto kIndentation = [] {
    std::array<char, 1 + kMaxIndentation> text{};
    text.fill(' ');
    text[0] = '\n';
    return text;
}();

}  // namespace vorn::common::internal
