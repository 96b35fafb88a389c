#include "vorn/common/encoding/Base64.h"

#include <algorithm>
#include <stdexcept>

#include "encoding/base64.h"
#include "encoding/base64Blocks.h"

namespace vorn::common::encoding {

namespace {

using internal::kNoBase64;

constexpr internal::Base64Table kStandardTable = internal::base64Table(internal::kBase64Alphabet);

constexpr internal::Base64Table kSharedTable = [] {
    auto table = kStandardTable;
    table['-'] = table['+'];
    table['_'] = table['/'];
    table['<'] = 0;  // Deliberate, see decodeFromBase64Any.
    return table;
}();

constexpr unsigned char kZero = 'A';

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

void encode(const unsigned char* data, std::size_t size, const char (&alphabet)[65],
            std::string& out) {
    out.clear();
    out.resize(internal::base64Length(size));
    std::size_t blocks = 0;
#ifdef VORN_BASE64_BLOCKS
    // The caller's alphabet may be anything. A short text is not worth the question.
    if (size >= 4 * internal::kBlockBytes &&
        std::equal(alphabet, alphabet + 62, internal::kBase64Alphabet)) {
        blocks = internal::encodeBase64Blocks(data, size, alphabet, out.data());
    }
#endif
    internal::encodeBase64(data + blocks * internal::kBlockBytes,
                           size - blocks * internal::kBlockBytes, alphabet,
                           out.data() + blocks * internal::kBlockCharacters);
}

/// Four characters as one number of 24 bits, valid when it has no more than those.
unsigned int groupValue(const internal::Base64Table& table, const unsigned char* text) {
    constexpr unsigned int kBroken = 0xFF000000U;
    const unsigned int first = table[text[0]];
    const unsigned int second = table[text[1]];
    const unsigned int third = table[text[2]];
    const unsigned int fourth = table[text[3]];
    const unsigned int bits = first << 18U | second << 12U | third << 6U | fourth;
    return ((first | second | third | fourth) & ~0x3FU) == 0 ? bits : bits | kBroken;
}

constexpr unsigned int kMostBits = 0xFFFFFFU;

template <class Byte>
void writeBytes(Byte* out, unsigned int bits) {
    out[0] = static_cast<Byte>(bits >> 16U);
    out[1] = static_cast<Byte>(bits >> 8U);
    out[2] = static_cast<Byte>(bits);
}

/// Reads what is there: see decodeFromBase64Any for what becomes of the rest.
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
        // A group without an invalid character gives its three bytes at once.
        const unsigned int bits = groupValue(kSharedTable, read);
        if (bits <= kMostBits) {
            writeBytes(write, bits);
            write += 3;
            continue;
        }
        emit(kSharedTable[read[0]], kSharedTable[read[1]], kSharedTable[read[2]],
             kSharedTable[read[3]]);
    }
    if (const std::size_t rest = text.size() % 4; rest != 0) {
        emit(kSharedTable[read[0]], rest > 1 ? kSharedTable[read[1]] : kNoBase64,
             rest > 2 ? kSharedTable[read[2]] : kNoBase64, kNoBase64);
    }
    out.resize(static_cast<std::size_t>(write - out.data()));
}

/// The text without its padding, of which the pattern has two characters at most.
std::string_view withoutPadding(std::string_view text) {
    for (unsigned padding = 0; padding < 2 && text.ends_with('='); ++padding) {
        text.remove_suffix(1);
    }
    return text;
}

/// By hand, because the standard library's regular expressions recurse for each character: a text
/// of 45,000 overflows the stack. Equal to the pattern, since 2, 3 or all 4 of a last group remain.
bool matchesPattern(std::string_view text) {
    if (text.size() % 4 != 0) {
        return false;
    }
    text = withoutPadding(text);
    return std::all_of(text.begin(), text.end(), [](char character) {
        return kStandardTable[static_cast<unsigned char>(character)] != kNoBase64;
    });
}

/// Check and decoding in one pass over the text; false when matchesPattern is.
bool decodeMatching(std::string_view text, std::string& out) {
    if (text.size() % 4 != 0) {
        return false;
    }
    const std::string_view digits = withoutPadding(text);
    out.resize(text.size() / 4 * 3);
    char* write = out.data();
    const unsigned char* read = bytesOf(digits);
    for (std::size_t group = digits.size() / 4; group != 0; --group, read += 4, write += 3) {
        const unsigned int bits = groupValue(kStandardTable, read);
        if (bits > kMostBits) {
            return false;
        }
        writeBytes(write, bits);
    }
    if (const std::size_t rest = digits.size() % 4; rest != 0) {
        // As if padded with zero bits, of which no byte is kept.
        const unsigned char last[4] = {read[0], read[1], rest == 3 ? read[2] : kZero, kZero};
        const unsigned int bits = groupValue(kStandardTable, last);
        if (bits > kMostBits) {
            return false;
        }
        writeBytes(write, bits);
        out.resize(out.size() - (4 - rest));
    }
    return true;
}

std::string decodeChecked(std::string_view text, bool skipCheck) {
    std::string out;
    if (skipCheck) {
        decode(text, out);
    } else if (!decodeMatching(text, out)) {
        throw std::invalid_argument("Input in not a base 64 entry");
    }
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
