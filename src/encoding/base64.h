// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>

namespace vorn::common::internal {

inline constexpr char kBase64Alphabet[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
inline constexpr char kBase64UrlAlphabet[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

inline constexpr unsigned char kNoBase64 = 255;

/// Indexed by a character's code as an unsigned char; kNoBase64 where it is not of the alphabet.
using Base64Table = std::array<unsigned char, 256>;

[[nodiscard]] constexpr Base64Table base64Table(const char (&alphabet)[65]) noexcept {
    Base64Table table{};
    table.fill(kNoBase64);
    for (unsigned char value = 0; value < 64; ++value) {
        table[static_cast<unsigned char>(alphabet[value])] = value;
    }
    return table;
}

/// The number of characters that `size` bytes become; cannot overflow where the text fits memory.
[[nodiscard]] constexpr std::size_t base64Length(std::size_t size) noexcept {
    return (size / 3 + (size % 3 != 0)) * 4;
}

/// Writes base64Length(size) characters.
constexpr void encodeBase64(const unsigned char* data, std::size_t size, const char (&alphabet)[65],
                            char* out) noexcept {
    // Three bytes become one number before anything is written: for all the compiler knows, what
    // is written may be the data or the alphabet.
    for (; size >= 3; size -= 3, data += 3, out += 4) {
        const unsigned int bits = unsigned{data[0]} << 16U | unsigned{data[1]} << 8U | data[2];
        out[0] = alphabet[bits >> 18U];
        out[1] = alphabet[bits >> 12U & 0x3FU];
        out[2] = alphabet[bits >> 6U & 0x3FU];
        out[3] = alphabet[bits & 0x3FU];
    }
    if (size != 0) {
        const unsigned int bits =
            unsigned{data[0]} << 16U | (size == 2 ? unsigned{data[1]} << 8U : 0U);
        out[0] = alphabet[bits >> 18U];
        out[1] = alphabet[bits >> 12U & 0x3FU];
        out[2] = size == 2 ? alphabet[bits >> 6U & 0x3FU] : '=';
        out[3] = '=';
    }
}

}  // namespace vorn::common::internal
