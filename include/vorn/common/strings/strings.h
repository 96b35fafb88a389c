// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <vorn/common/export.h>

namespace vorn::common {

/// Finds `pattern` in `text` from `start` on, passing over escaped matches.
///
///     findEsc(R"(a\,b,c)", ",", 0, '\\')      // 4
///
/// With an escape character other than '\0', a match directly preceded by an odd number of them
/// (counted back to `start` at most) is skipped, and the search goes on with the next occurrence of
/// the pattern. Returns the position in `text`, or std::string::npos. An empty pattern is found at
/// `start` when that is at most the length of the text.
/// Takes time in proportion to the text for a short pattern, text times pattern at worst.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::size_t findEsc(std::string_view text,
                                                        std::string_view pattern, std::size_t start,
                                                        char escape = '\0');

/// Small operations on texts.
namespace strings {

using vorn::common::findEsc;

/// Removes leading and trailing white space in place: whatever `isspace` calls so in the current C
/// locale. Does not allocate.
VORN_GW_COMMON_EXPORT void trim(std::string& text);

/// The number of bytes that a string holds on the heap: 0 while its characters are in the object
/// itself, otherwise its capacity.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::size_t heap_size(const std::string& text) noexcept;

}  // namespace strings

}  // namespace vorn::common
