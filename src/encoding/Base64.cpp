#include "vorn/common/encoding/Base64.h"

#include <algorithm>
#include <stdexcept>

#include "encoding/base64.h"

namespace vorn::common::encoding {

namespace {

using internal::kNoBase64;

constexpr internal::Base64Table kStandardTable = internal::base64Table(internal::kBase64Alphabet);

constexpr internal::Base64Table kSharedTable = [] {
    auto table = kStandardTable;
    table['-'] = table['+'];
    table['_'] = table['/'];
    table['<'] = 0;
    return table;
}();

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

void encode(const unsigned char* data, std::size_t size, const char (&alphabet)[65],
            std::string& out) {
    out.clear();
    out.resize(internal::base64Length(size));
    internal::encodeBase64(data, size, alphabet, out.data());
}

template <class Output>
void decode(std::string_view text, Output& out) {
    const std::size_t groups = text.size() / 4 + (text.size() % 4 != 0);
    out.clear();
    out.resize(groups * 3);
    auto* write = out.data();
    using Byte = typename Output::value_type;

    const auto emit = [&write](unsigned first, unsigned second, unsigned third, unsigned fourth) {
        if (second != kNoBase64) {
            *write++ = static_cast<Byte>(first << 2U | (second >> 4U & 0x03U));
        }
        if (third != kNoBase64) {
            *write++ = static_cast<Byte>(second << 4U | third >> 2U);
        }
        if (fourth != kNoBase64) {
            *write++ = static_cast<Byte>(third << 6U | fourth);
        }
    };
    const unsigned char* read = bytesOf(text);
    for (std::size_t group = text.size() / 4; group != 0; --group, read += 4) {
        emit(kSharedTable[read[0]], kSharedTable[read[1]], kSharedTable[read[2]],
             kSharedTable[read[3]]);
    }
    if (const std::size_t rest = text.size() % 4; rest != 0) {
        emit(kSharedTable[read[0]], rest > 1 ? kSharedTable[read[1]] : kNoBase64,
             rest > 2 ? kSharedTable[read[2]] : kNoBase64, kNoBase64);
    }
    out.resize(static_cast<std::size_t>(write - out.data()));
}

bool matchesPattern(std::string_view text) {
    if (text.size() % 4 != 0) {
        return false;
    }
    for (unsigned padding = 0; padding < 2 && text.ends_with('='); ++padding) {
        text.remove_suffix(1);
    }
    return std::all_of(text.begin(), text.end(), [](char character) {
        return kStandardTable[static_cast<unsigned char>(character)] != kNoBase64;
    });
}

std::string decodeChecked(std::string_view text, bool skipCheck) {
    if (!skipCheck && !matchesPattern(text)) {
        throw std::invalid_argument("Input in not a base 64 entry");
    }
    std::string out;
    decode(text, out);
    return out;
}

std::string encoded(const unsigned char* data, std::size_t size, const char (&alphabet)[65]) {
    std::string out;
    encode(data, size, alphabet, out);
    return out;
}

}  // namespace

void Base64::encodeTobase64(const unsigned char* data, unsigned size, const char (&alphabet)[65],
                            std::string& out) {
    encode(data, size, alphabet, out);
}

void Base64::encodeTobase64(const std::string& data, const char (&alphabet)[65], std::string& out) {
    encode(bytesOf(data), data.size(), alphabet, out);
}

void Base64::encodeTobase64(const std::vector<unsigned char>& data, const char (&alphabet)[65],
                            std::string& out) {
    encode(data.data(), data.size(), alphabet, out);
}

std::string Base64::encodeToString(const std::string& data) {
    return encoded(bytesOf(data), data.size(), internal::kBase64Alphabet);
}

std::string Base64::encodeToString(const std::string_view& data) {
    return encoded(bytesOf(data), data.size(), internal::kBase64Alphabet);
}

std::string Base64::encodeToString(const std::vector<unsigned char>& data) {
    return encoded(data.data(), data.size(), internal::kBase64Alphabet);
}

std::string Base64::encodeToString(const char* data) {
    return encodeToString(std::string_view(data));
}

std::string Base64::encodeUrlToString(const std::string& data) {
    return encoded(bytesOf(data), data.size(), internal::kBase64UrlAlphabet);
}

std::string Base64::encodeUrlToString(const std::string_view& data) {
    return encoded(bytesOf(data), data.size(), internal::kBase64UrlAlphabet);
}

std::string Base64::encodeUrlToString(const std::vector<unsigned char>& data) {
    return encoded(data.data(), data.size(), internal::kBase64UrlAlphabet);
}

std::string Base64::encodeUrlToString(const char* data) {
    return encodeUrlToString(std::string_view(data));
}

std::vector<unsigned char> Base64::decodeToByte(const std::string& text) {
    std::vector<unsigned char> out;
    decode(text, out);
    return out;
}

std::string Base64::decodeToString(const std::string& text, bool skipCheck) {
    return decodeChecked(text, skipCheck);
}

std::string Base64::decodeToString(const std::string_view& text, bool skipCheck) {
    return decodeChecked(text, skipCheck);
}

std::string Base64::decodeToString(const char* text, bool skipCheck) {
    return decodeChecked(text, skipCheck);
}

template <class Output>
void Base64::decodeFromBase64Any(const std::string& input, Output& out, bool skipCheck) {
    out = decodeChecked(input, skipCheck);
}

template VORN_GW_COMMON_EXPORT void Base64::decodeFromBase64Any<std::string>(
    const std::string& input, std::string& out, bool skipCheck);

bool Base64::checkBase64(const std::string& text) {
    return matchesPattern(text);
}

}  // namespace vorn::common::encoding
