// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "identifiers/encoding/referenceBase64.h"

/// Identifiers' texts read and made step by step, to compare the real ones with.
namespace reference {

using UuidBytes = std::array<unsigned char, 16>;

inline UuidBytes uuidOfHex(const std::string& digits) {
    UuidBytes bytes{};
    for (std::size_t i = 0; i < 32; ++i) {
        const char character = digits[i];
        unsigned value = 0;
        if (character >= '0' && character <= '9') {
            value = static_cast<unsigned>(character - '0');
        } else if (character >= 'a' && character <= 'f') {
            value = static_cast<unsigned>(character - 'a') + 10;
        } else if (character >= 'A' && character <= 'F') {
            value = static_cast<unsigned>(character - 'A') + 10;
        } else {
            throw std::invalid_argument(std::string("invalid hex character in UUID ") + character);
        }
        bytes[i / 2] = static_cast<unsigned char>(bytes[i / 2] * 16 + value);
    }
    return bytes;
}

inline UuidBytes uuidOfText(const std::string& text) {
    if (text.size() == 32) {
        return uuidOfHex(text);
    }
    if (text.size() == 36) {
        std::string digits;
        for (std::size_t i = 0; i < 36; ++i) {
            if (i == 8 || i == 13 || i == 18 || i == 23) {
                if (text[i] != '-') {
                    throw std::invalid_argument("invalid hyphen position in UUID " + text);
                }
            } else {
                digits += text[i];
            }
        }
        return uuidOfHex(digits);
    }
    if (text.size() == 22) {
        const auto isOf = [&text](const char(&alphabet)[65]) {
            return text.find_first_not_of(alphabet, 0, 64) == std::string::npos;
        };
        if (!isOf(kStandardAlphabet) && !isOf(kUrlAlphabet)) {
            throw std::invalid_argument("invalid base64 character in UUID " + text);
        }
        const std::string decoded = decodedBase64(text + "AA");
        UuidBytes bytes{};
        for (std::size_t i = 0; i < 16; ++i) {
            bytes[i] = static_cast<unsigned char>(decoded[i]);
        }
        return bytes;
    }
    throw std::invalid_argument("invalid UUID size " + text);
}

struct UuidTexts {
    std::string hex;
    std::string canonical;
    std::string base64;
    std::string base64Url;
};

inline UuidTexts textsOfUuid(const UuidBytes& bytes) {
    UuidTexts texts;
    std::string raw;
    for (std::size_t i = 0; i < 16; ++i) {
        const std::string pair = {"0123456789abcdef"[bytes[i] / 16],
                                  "0123456789abcdef"[bytes[i] % 16]};
        texts.hex += pair;
        texts.canonical += (i == 4 || i == 6 || i == 8 || i == 10 ? "-" : "") + pair;
        raw += static_cast<char>(bytes[i]);
    }
    texts.base64 = encodedBase64(raw + std::string(2, '\0'), kStandardAlphabet).substr(0, 22);
    texts.base64Url = encodedBase64(raw + std::string(2, '\0'), kUrlAlphabet).substr(0, 22);
    return texts;
}

inline UuidBytes uuidOfWords(const std::string& prefix, const std::string& name) {
    std::string text = prefix + (prefix.empty() ? "" : "_") + name;
    for (char& character : text) {
        character = character == ' ' ? '_' : character;
    }
    text.resize(22, '_');
    return uuidOfText(text);
}

}  // namespace reference
