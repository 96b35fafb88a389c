// SPDX-License-Identifier: MIT
#include "vorn/common/encoding/Base64.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "encoding/base64.h"
#include "encoding/base64Blocks.h"

namespace vorn::common::encoding {

namespace {

using internal::Base64Table;
using internal::kNoBase64;

constexpr Base64Table kStandardTable = internal::base64Table(internal::kBase64Alphabet);

constexpr Base64Table kSharedTable = [] {
    auto table = kStandardTable;
    table['-'] = table['+'];
    table['_'] = table['/'];
    table['<'] = 0;  // Deliberate, see decodeFromBase64Any.
    return table;
}();

// What may be wrong with a character, above the 24 bits of a group.
constexpr std::uint32_t kNotStandard = 1U << 30U;
constexpr std::uint32_t kInvalid = 1U << 31U;

/// Entry [place][character]: the six bits of a character where they belong in its group, so that a
/// group is four look-ups and three ORs, errors included. 4 KiB, for both ways of decoding.
constexpr std::array<std::array<std::uint32_t, 256>, 4> kPlaces = [] {
    std::array<std::array<std::uint32_t, 256>, 4> places{};
    for (unsigned int place = 0; place < 4; ++place) {
        for (std::size_t character = 0; character < 256; ++character) {
            const std::uint32_t value = kSharedTable[character];
            places[place][character] =
                value == kNoBase64 ? kInvalid | kNotStandard
                                   : value << (18U - 6U * place) |
                                         (kStandardTable[character] == value ? 0 : kNotStandard);
        }
    }
    return places;
}();

std::uint32_t groupBits(const unsigned char* text) {
    return kPlaces[0][text[0]] | kPlaces[1][text[1]] | kPlaces[2][text[2]] | kPlaces[3][text[3]];
}

template <class Byte>
void writeBytes(Byte* out, std::uint32_t bits) {
    out[0] = static_cast<Byte>(bits >> 16U);
    out[1] = static_cast<Byte>(bits >> 8U);
    out[2] = static_cast<Byte>(bits);
}

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

/// Writes base64Length(size) characters of an alphabet in the order of RFC 4648.
void encodeInOrder(const unsigned char* data, std::size_t size, const char (&alphabet)[65],
                   char* out) {
#ifdef VORN_BASE64_BLOCKS
    const std::size_t blocks = internal::encodeBase64Blocks(data, size, alphabet, out);
    data += blocks * internal::kBlockBytes;
    size -= blocks * internal::kBlockBytes;
    out += blocks * internal::kBlockCharacters;
#endif
    internal::encodeBase64(data, size, alphabet, out);
}

std::string encoded(const unsigned char* data, std::size_t size, const char (&alphabet)[65]) {
    std::string out(internal::base64Length(size), '\0');
    encodeInOrder(data, size, alphabet, out.data());
    return out;
}

/// For any alphabet. Keeps the memory that `out` has.
void encodeInto(const unsigned char* data, std::size_t size, const char (&alphabet)[65],
                std::string& out) {
    out.clear();
    out.resize(internal::base64Length(size));
    if (std::equal(alphabet, alphabet + 62, internal::kBase64Alphabet)) {
        encodeInOrder(data, size, alphabet, out.data());
    } else {
        internal::encodeBase64(data, size, alphabet, out.data());
    }
}

/// Writes what a group with something invalid in it still gives, by the values of its characters.
template <class Byte>
Byte* writeBrokenGroup(Byte* out, unsigned first, unsigned second, unsigned third,
                       unsigned fourth) {
    if (second != kNoBase64) {
        *out++ = static_cast<Byte>(first << 2U | (second >> 4U & 0x03U));
    }
    if (third != kNoBase64) {
        *out++ = static_cast<Byte>(second << 4U | third >> 2U);
    }
    if (fourth != kNoBase64) {
        *out++ = static_cast<Byte>(third << 6U | fourth);
    }
    return out;
}

/// Reads what is there: see decodeFromBase64Any for what becomes of the rest.
template <class Output>
void decode(std::string_view text, Output& out) {
    const auto& table = kSharedTable;
    const std::size_t groups = text.size() / 4 + (text.size() % 4 != 0);
    out.clear();
    out.resize(groups * 3);
    auto* write = out.data();
    const unsigned char* read = bytesOf(text);
    for (std::size_t group = text.size() / 4; group != 0; --group, read += 4) {
        const std::uint32_t bits = groupBits(read);
        if ((bits & kInvalid) == 0) {
            writeBytes(write, bits);
            write += 3;
        } else {
            write = writeBrokenGroup(write, table[read[0]], table[read[1]], table[read[2]],
                                     table[read[3]]);
        }
    }
    if (const std::size_t rest = text.size() % 4; rest != 0) {
        write = writeBrokenGroup(write, table[read[0]], rest > 1 ? table[read[1]] : kNoBase64,
                                 rest > 2 ? table[read[2]] : kNoBase64, kNoBase64);
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
        return (kPlaces[3][static_cast<unsigned char>(character)] & kNotStandard) == 0;
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
        const std::uint32_t bits = groupBits(read);
        if ((bits & kNotStandard) != 0) {
            return false;
        }
        writeBytes(write, bits);
    }
    if (const std::size_t rest = digits.size() % 4; rest != 0) {
        // As if padded with zero bits, of which no byte is kept.
        constexpr unsigned char kZero = 'A';
        const unsigned char last[4] = {read[0], read[1], rest == 3 ? read[2] : kZero, kZero};
        const std::uint32_t bits = groupBits(last);
        if ((bits & kNotStandard) != 0) {
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

}  // namespace

void Base64::encodeTobase64(const unsigned char* data, unsigned size, const char (&alphabet)[65],
                            std::string& out) {
    encodeInto(data, size, alphabet, out);
}

void Base64::encodeTobase64(const std::string& data, const char (&alphabet)[65], std::string& out) {
    encodeInto(bytesOf(data), data.size(), alphabet, out);
}

void Base64::encodeTobase64(const std::vector<unsigned char>& data, const char (&alphabet)[65],
                            std::string& out) {
    encodeInto(data.data(), data.size(), alphabet, out);
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
