// SPDX-License-Identifier: MIT
#pragma once

#include <cctype>
#include <stdexcept>
#include <string>
#include <string_view>

/// Percent-encoding character by character, to compare the real one with.
namespace reference {

inline bool isUnreserved(char character) {
    const auto code = static_cast<unsigned char>(character);
    return (character >= '0' && character <= '9') || std::isalpha(code) != 0 || character == '-' ||
           character == '.' || character == '_' || character == '~';
}

inline bool isUrlCharacter(char character) {
    return isUnreserved(character) ||
           (character != '\0' &&
            std::string_view(":/?#[]@!$&'()*+,;=%").find(character) != std::string_view::npos);
}

/// In upper case, one digit for a byte below 16.
inline std::string urlEncoded(const std::string& text) {
    const char* const kDigits = "0123456789ABCDEF";
    std::string encoded;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (isUnreserved(character)) {
            encoded += character;
        } else {
            encoded += '%';
            encoded += byte < 16 ? "" : std::string(1, kDigits[byte >> 4]);
            encoded += kDigits[byte & 15];
        }
    }
    return encoded;
}

inline std::string urlDecoded(const std::string& text) {
    const auto digit = [](char character) {
        const std::string_view digits = "0123456789abcdef0123456789ABCDEF";
        const std::size_t at = character == '\0' ? std::string_view::npos : digits.find(character);
        if (at == std::string_view::npos) {
            throw std::runtime_error("Failed hex to dec conversion");
        }
        return static_cast<unsigned>(at % 16);
    };
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        if (text.size() - i < 3) {
            throw std::runtime_error("Unexpected end of string");
        }
        decoded += static_cast<char>(
            static_cast<unsigned char>(digit(text[i + 1]) * 16 + digit(text[i + 2])));
        i += 2;
    }
    return decoded;
}

}  // namespace reference
