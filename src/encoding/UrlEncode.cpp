// SPDX-License-Identifier: MIT
#include "vorn/common/encoding/UrlEncode.h"

#include <array>
#include <cctype>
#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "encoding/hex.h"

namespace vorn::common::encoding {

namespace {

constexpr std::string_view kDelimiters = ":/?#[]@!$&'()*+,;=";
constexpr std::string_view kUnreservedMarks = "-._~";

/// The characters that are unreserved in every locale: the portable letters are letters everywhere.
constexpr std::array<bool, 256> kAlwaysUnreserved = [] {
    std::array<bool, 256> unreserved{};
    for (unsigned char character = 0; character < 128; ++character) {
        unreserved[character] = (character >= '0' && character <= '9') ||
                                (character >= 'A' && character <= 'Z') ||
                                (character >= 'a' && character <= 'z');
    }
    for (const char mark : kUnreservedMarks) {
        unreserved[static_cast<unsigned char>(mark)] = true;
    }
    return unreserved;
}();

/// Asks the locale only about what may differ between locales.
bool isUnreserved(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return kAlwaysUnreserved[byte] || std::isalpha(byte) != 0;
}

/// Writes one byte as up to three characters; returns the place behind them.
char* encodeByte(char* out, char character) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    if (isUnreserved(character)) {
        *out++ = character;
        return out;
    }
    const auto byte = static_cast<unsigned char>(character);
    *out++ = '%';
    if (byte >= 16) {
        *out++ = kDigits[byte >> 4U];
    }
    *out++ = kDigits[byte & 0x0FU];
    return out;
}

}  // namespace

bool UrlEncode::isValidUrlChar(char c) {
    return isUnreserved(c) || kDelimiters.find(c) != std::string_view::npos || c == '%';
}

std::string UrlEncode::encode(const std::string& text) {
    // Piece by piece through a buffer with room for the worst case: no test of the room for each
    // character, and no memory for a worst case that hardly any text is.
    constexpr std::size_t kPiece = 256;
    char buffer[3 * kPiece];
    std::string encoded;
    encoded.reserve(text.size());
    for (std::size_t begin = 0; begin < text.size(); begin += kPiece) {
        char* out = buffer;
        for (const char character : std::string_view(text).substr(begin, kPiece)) {
            out = encodeByte(out, character);
        }
        encoded.append(buffer, out);
    }
    return encoded;
}

std::string UrlEncode::decode(const std::string& text) {
    // Never longer than the text, so it is written in place and cut off behind.
    std::string decoded(text.size(), '\0');
    char* out = decoded.data();
    const char* const end = text.data() + text.size();
    for (const char* next = text.data(); next != end; ++next) {
        if (*next != '%') {
            *out++ = *next;
            continue;
        }
        if (end - next <= 2) {
            throw std::runtime_error("Unexpected end of string");
        }
        const int high = internal::hexValue(next[1]);
        const int low = internal::hexValue(next[2]);
        if ((high | low) < 0) {
            throw std::runtime_error("Failed hex to dec conversion");
        }
        *out++ = static_cast<char>(static_cast<unsigned char>(high * 16 + low));
        next += 2;
    }
    decoded.resize(static_cast<std::size_t>(out - decoded.data()));
    return decoded;
}

}  // namespace vorn::common::encoding
