#include "vorn/common/encoding/UrlEncode.h"

#include <cctype>
#include <stdexcept>
#include <string_view>

#include "encoding/hex.h"

namespace vorn::common::encoding {

namespace {

constexpr std::string_view kDelimiters = ":/?#[]@!$&'()*+,;=";
constexpr std::string_view kUnreservedMarks = "-._~";

bool contains(std::string_view set, char character) {
    return set.find(character) != std::string_view::npos;
}

bool isUnreserved(char character) {
    return (character >= '0' && character <= '9') ||
           std::isalpha(static_cast<unsigned char>(character)) != 0 ||
           contains(kUnreservedMarks, character);
}

}  // namespace

bool UrlEncode::isValidUrlChar(char c) {
    return isUnreserved(c) || contains(kDelimiters, c) || c == '%';
}

std::string UrlEncode::encode(const std::string& text) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (const char character : text) {
        if (isUnreserved(character)) {
            encoded += character;
            continue;
        }
        const auto byte = static_cast<unsigned char>(character);
        encoded += '%';
        if (byte >= 16) {
            encoded += kDigits[byte >> 4U];
        }
        encoded += kDigits[byte & 0x0FU];
    }
    return encoded;
}

std::string UrlEncode::decode(const std::string& text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        if (text.size() - i <= 2) {
            throw std::runtime_error("Unexpected end of string");
        }
        const int high = internal::hexValue(text[i + 1]);
        const int low = internal::hexValue(text[i + 2]);
        if (high < 0 || low < 0) {
            throw std::runtime_error("Failed hex to dec conversion");
        }
        decoded += static_cast<char>(static_cast<unsigned char>(high * 16 + low));
        i += 2;
    }
    return decoded;
}

}  // namespace vorn::common::encoding
