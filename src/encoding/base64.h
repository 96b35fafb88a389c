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
    for (; size >= 3; size -= 3, data += 3) {
        *out++ = alphabet[data[0] >> 2U];
        *out++ = alphabet[(data[0] & 0x03U) << 4U | data[1] >> 4U];
        *out++ = alphabet[(data[1] & 0x0FU) << 2U | data[2] >> 6U];
        *out++ = alphabet[data[2] & 0x3FU];
    }
    if (size != 0) {
        const unsigned char second = size == 2 ? data[1] : 0;
        *out++ = alphabet[data[0] >> 2U];
        *out++ = alphabet[(data[0] & 0x03U) << 4U | second >> 4U];
        *out++ = size == 2 ? alphabet[(second & 0x0FU) << 2U] : '=';
        *out++ = '=';
    }
}

}  // namespace vorn::common::internal
