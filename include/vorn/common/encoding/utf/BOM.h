// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <vorn/common/export.h>

/// What the first bytes of a text tell.
namespace vorn::common::encoding::utf {

/// What a byte-order mark at the start of a text says about it.
///
///     if (const auto bom = getBOM(content)) {
///         content.erase(content.begin(), content.begin() + bom->length);
///     }
struct BOM {
    /// Without the byte order, which BOM::bigEndian tells.
    enum class Encoding : std::uint32_t {
        utf7,   ///< the mark 2B 2F 76
        utf8,   ///< EF BB BF
        utf16,  ///< FF FE or FE FF
        utf32   ///< FF FE 00 00 or 00 00 FE FF
    };

    Encoding encoding;  ///< of the text behind the mark
    bool bigEndian;     ///< false where there is no byte order
    bool hasByteOrder;  ///< true for UTF-16 and UTF-32
    unsigned length;    ///< of the mark, in bytes

    /// "utf-7", "utf-8", "utf-16" or "utf-32"; empty for any other value.
    [[nodiscard]] VORN_GW_COMMON_EXPORT static std::string toString(Encoding encoding);

    /// Equal when all four members are.
    friend bool operator==(const BOM&, const BOM&) = default;
};

/// Recognises FF FE 00 00, 00 00 FE FF, EF BB BF, FF FE, FE FF and 2B 2F 76 at the start of the
/// bytes, in this order; empty when there is none of them. `data` may be null when `size` is 0.
/// Deliberate: UTF-32 is tried before UTF-16, so UTF-16 text that begins with a mark and a NUL
/// character is taken for UTF-32.
/// @{
[[nodiscard]] VORN_GW_COMMON_EXPORT std::optional<BOM> getBOM(const char* data, unsigned size);
[[nodiscard]] VORN_GW_COMMON_EXPORT std::optional<BOM> getBOM(const std::vector<char>& data);
/// @}

}  // namespace vorn::common::encoding::utf
