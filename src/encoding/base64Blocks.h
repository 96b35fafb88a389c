// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "encoding/base64.h"

#if (defined(__SSE2__) || defined(__ARM_NEON)) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define VORN_BASE64_BLOCKS 1
#endif

namespace vorn::common::internal {

inline constexpr std::size_t kBlockBytes = 12;
inline constexpr std::size_t kBlockCharacters = 16;

#ifdef VORN_BASE64_BLOCKS

/// Encodes as many whole blocks of 12 bytes as it can read 16 bytes for, and returns how many that
/// were. The alphabet must begin with the 62 letters and digits in the order of RFC 4648.
///
/// Relies on that order: a character is its six bits plus one of five distances, which comparisons
/// select without a table, in 16 characters at a time. encodeBase64 is the portable twin.
inline std::size_t encodeBase64Blocks(const unsigned char* data, std::size_t size,
                                      const char (&alphabet)[65], char* out) noexcept {
    using Words [[gnu::vector_size(16)]] = std::uint32_t;
    using Values [[gnu::vector_size(16)]] = signed char;  // SSE2 compares no others
    using Characters [[gnu::vector_size(16)]] = unsigned char;
    const auto group = [](const unsigned char* from) {
        std::uint32_t word = 0;
        std::memcpy(&word, from, sizeof word);
        return __builtin_bswap32(word) >> 8U;
    };
    const auto distance = [&alphabet](int value) { return alphabet[value] - value; };
    const auto letters = static_cast<unsigned char>(distance(0));
    const auto toSmallLetters = static_cast<unsigned char>(distance(26) - distance(0));
    const auto toDigits = static_cast<unsigned char>(distance(52) - distance(26));
    const auto to62 = static_cast<unsigned char>(distance(62) - distance(52));
    const auto to63 = static_cast<unsigned char>(distance(63) - distance(62));
    const auto where = [](Values mask, unsigned char step) {
        return __builtin_convertvector(mask, Characters) & step;
    };

    std::size_t blocks = 0;
    for (; size >= 16; size -= kBlockBytes, ++blocks) {
        const Words bits = {group(data), group(data + 3), group(data + 6), group(data + 9)};
        const Words spread = bits >> 18U | (bits >> 4U & 0x3F00U) | (bits << 10U & 0x3F0000U) |
                             (bits << 24U & 0x3F000000U);
        Values value;
        std::memcpy(&value, &spread, sizeof value);
        const Characters text = __builtin_convertvector(value, Characters) + letters +
                                where(value > 25, toSmallLetters) + where(value > 51, toDigits) +
                                where(value > 61, to62) + where(value > 62, to63);
        std::memcpy(out, &text, sizeof text);
        data += kBlockBytes;
        out += kBlockCharacters;
    }
    return blocks;
}

#endif

}  // namespace vorn::common::internal
