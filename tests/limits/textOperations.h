// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <vector>

namespace limits {

/// An operation that takes a text, with the most hostile text for it.
struct TextOperation {
    const char* name;
    /// Makes a text of about that many bytes and returns the operation on it, which may be repeated
    /// and swallows the errors of texts that are refused.
    std::function<std::function<void()>(std::size_t)> prepare;
    std::size_t smallest = 1U << 15U;  ///< takes some hundred microseconds at least

    friend void PrintTo(const TextOperation& row, std::ostream* out) { *out << row.name; }
};

[[nodiscard]] std::vector<TextOperation> textOperations();

/// The ones whose memory is a product of two lengths in the text.
[[nodiscard]] std::vector<TextOperation> products();

/// The ones whose time is a product of two lengths in the text.
[[nodiscard]] std::vector<TextOperation> productsOfTime();

}  // namespace limits
