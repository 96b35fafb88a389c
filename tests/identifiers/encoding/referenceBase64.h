// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Slow Base64 by the definitions, to compare the real one with.
namespace reference {

inline constexpr char kStandardAlphabet[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
inline constexpr char kUrlAlphabet[65] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

/// One character after the other, bit by bit.
inline std::string encodedBase64(const std::string& bytes, const char (&alphabet)[65]) {
    std::string text;
    for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
        unsigned value = 0;
        for (std::size_t i = bit; i < bit + 6; ++i) {
            const auto byte = i / 8 < bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) : 0;
            value = value << 1 | (byte >> (7 - i % 8) & 1U);
        }
        text += alphabet[value];
    }
    return text.append((4 - text.size() % 4) % 4, '=');
}

/// Group by group, by the rules for texts that are not checked.
inline std::string decodedBase64(const std::string& text) {
    const auto valueAt = [&text](std::size_t i) {
        if (i >= text.size()) {
            return std::string::npos;
        }
        const char character = text[i] == '-' ? '+' : text[i] == '_' ? '/' : text[i];
        return character == '<' ? 0 : std::string_view(kStandardAlphabet, 64).find(character);
    };
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 4) {
        for (std::size_t j = 1; j < 4; ++j) {
            const auto before = valueAt(i + j - 1) & 255;
            const auto value = valueAt(i + j);
            if (value != std::string::npos) {
                bytes += static_cast<char>(before << (2 * j) | value >> (6 - 2 * j));
            }
        }
    }
    return bytes;
}

/// Matches `^(?:[A-Za-z0-9+/]{4})*(?:[A-Za-z0-9+/]{2}==|[A-Za-z0-9+/]{3}=)?$` alternative by
/// alternative, from the end.
inline bool isBase64(std::string_view text) {
    const auto matches = [](std::string_view rest, std::size_t letters) {
        return rest.size() >= letters &&
               rest.substr(0, letters).find_first_not_of(kStandardAlphabet) ==
                   std::string_view::npos;
    };
    const auto wholeGroups = [&](std::string_view rest) {
        while (matches(rest, 4)) {
            rest.remove_prefix(4);
        }
        return rest.empty();
    };
    if (wholeGroups(text)) {
        return true;
    }
    if (text.size() < 4) {
        return false;
    }
    const std::string_view front = text.substr(0, text.size() - 4);
    const std::string_view last = text.substr(front.size());
    return wholeGroups(front) && ((matches(last, 2) && last.substr(2) == "==") ||
                                  (matches(last, 3) && last.substr(3) == "="));
}

}  // namespace reference
