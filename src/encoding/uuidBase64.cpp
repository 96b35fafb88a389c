// SPDX-License-Identifier: MIT
#include "encoding/uuidBase64.h"

#include <algorithm>
#include <stdexcept>

namespace vorn::common::internal {

namespace {

constexpr Base64Table kStandardTable = base64Table(kBase64Alphabet);
constexpr Base64Table kUrlTable = base64Table(kBase64UrlAlphabet);

bool isWrittenIn(const Base64Table& table, std::string_view text) {
    return std::all_of(text.begin(), text.end(), [&table](char character) {
        return table[static_cast<unsigned char>(character)] != kNoBase64;
    });
}

/// One alphabet for the whole text: a mixture of both is refused, although a table for both would
/// read it.
const Base64Table& tableOf(std::string_view text) {
    if (isWrittenIn(kStandardTable, text)) {
        return kStandardTable;
    }
    if (isWrittenIn(kUrlTable, text)) {
        return kUrlTable;
    }
    throw std::invalid_argument(std::string("invalid base64 character in UUID ").append(text));
}

}  // namespace

unsigned int uuidBase64Value(const Base64Table& table, char character) {
    const unsigned char value = table[static_cast<unsigned char>(character)];
    if (value == kNoBase64) {
        throw std::invalid_argument(std::string("invalid character '") + character + "' in UUID");
    }
    return value;
}

std::array<unsigned char, 16> parseUuidBase64(std::string_view text) {
    // 22 characters are 132 bits; the last four of them are never asked for.
    const Base64Table& table = tableOf(text);
    std::array<unsigned char, 16> bytes;
    unsigned int bits = 0;
    unsigned int bitCount = 0;
    auto character = text.begin();
    for (auto& byte : bytes) {
        while (bitCount < 8) {
            bits = bits << 6U | uuidBase64Value(table, *character++);
            bitCount += 6;
        }
        bitCount -= 8;
        byte = static_cast<unsigned char>(bits >> bitCount);
    }
    return bytes;
}

std::string uuidBase64(const std::array<unsigned char, 16>& bytes) {
    char text[base64Length(std::tuple_size_v<std::array<unsigned char, 16>>)];
    // The 16 bytes are five groups and one byte, whose padding is left behind.
    encodeBase64(bytes.data(), bytes.size(), kBase64Alphabet, text);
    return std::string(text, kUuidBase64Length);
}

}  // namespace vorn::common::internal
