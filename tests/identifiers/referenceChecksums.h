// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

/// Check sums bit by bit and by the standard's own words, to compare the real ones with.
namespace reference {

/// Polynomial 0x1021, initial value 0xFFFF, nothing reflected, no final XOR.
inline std::uint16_t crc16(std::string_view bytes) {
    std::uint16_t crc = 0xFFFF;
    for (const char byte : bytes) {
        for (int bit = 7; bit >= 0; --bit) {
            const bool in = (static_cast<unsigned char>(byte) >> bit & 1) != 0;
            const bool out = (crc & 0x8000) != 0;
            crc = static_cast<std::uint16_t>(crc << 1);
            if (in != out) {
                crc = static_cast<std::uint16_t>(crc ^ 0x1021);
            }
        }
    }
    return crc;
}

/// The whole padded message at once, with all 80 words of the schedule.
inline std::array<std::uint8_t, 20> sha1(std::string_view bytes) {
    const auto rotated = [](std::uint32_t word, unsigned by) {
        return word << by | word >> (32 - by);
    };
    std::string message(bytes);
    message += '\x80';
    message.append((120 - message.size() % 64) % 64, '\0');
    for (int shift = 56; shift >= 0; shift -= 8) {
        message += static_cast<char>(
            static_cast<unsigned char>(std::uint64_t{bytes.size()} * 8 >> shift & 255));
    }
    std::uint32_t hash[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    for (std::size_t block = 0; block < message.size(); block += 64) {
        std::uint32_t w[80] = {};
        for (std::size_t i = 0; i < 64; ++i) {
            w[i / 4] = w[i / 4] << 8 | static_cast<unsigned char>(message[block + i]);
        }
        for (int t = 16; t < 80; ++t) {
            w[t] = rotated(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
        }
        std::uint32_t a = hash[0];
        std::uint32_t b = hash[1];
        std::uint32_t c = hash[2];
        std::uint32_t d = hash[3];
        std::uint32_t e = hash[4];
        for (int t = 0; t < 80; ++t) {
            const std::uint32_t f = t < 20   ? (b & c) | (~b & d)
                                    : t < 40 ? b ^ c ^ d
                                    : t < 60 ? (b & c) | (b & d) | (c & d)
                                             : b ^ c ^ d;
            const std::uint32_t k = t < 20   ? 0x5A827999
                                    : t < 40 ? 0x6ED9EBA1
                                    : t < 60 ? 0x8F1BBCDC
                                             : 0xCA62C1D6;
            const std::uint32_t next = rotated(a, 5) + f + e + w[t] + k;
            e = d;
            d = c;
            c = rotated(b, 30);
            b = a;
            a = next;
        }
        hash[0] += a;
        hash[1] += b;
        hash[2] += c;
        hash[3] += d;
        hash[4] += e;
    }
    std::array<std::uint8_t, 20> digest{};
    for (std::size_t i = 0; i < 20; ++i) {
        digest[i] = static_cast<std::uint8_t>(hash[i / 4] >> (24 - 8 * (i % 4)));
    }
    return digest;
}

}  // namespace reference
