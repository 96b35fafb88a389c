// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace vorn::common::internal {

/// One row of a table that gives an enumeration its texts.
template <class Enum>
struct EnumText {
    Enum value;
    std::string_view text;
};

/// The text of the first row with that value, or `otherwise`.
template <class Enum, std::size_t N>
[[nodiscard]] std::string textOf(const std::array<EnumText<Enum>, N>& table, Enum value,
                                 std::string_view otherwise) {
    const auto row = std::find_if(table.begin(), table.end(),
                                  [value](const auto& entry) { return entry.value == value; });
    return std::string(row == table.end() ? otherwise : row->text);
}

/// The value of the first row with exactly that text, or `otherwise`.
template <class Enum, std::size_t N>
[[nodiscard]] Enum valueOf(const std::array<EnumText<Enum>, N>& table, std::string_view text,
                           Enum otherwise) {
    const auto row = std::find_if(table.begin(), table.end(),
                                  [text](const auto& entry) { return entry.text == text; });
    return row == table.end() ? otherwise : row->value;
}

}  // namespace vorn::common::internal
