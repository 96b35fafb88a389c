// SPDX-License-Identifier: MIT
#include <algorithm>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include <vorn/common/encoding/Base64.h>

#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "identifiers/encoding/referenceBase64.h"

namespace {

using vorn::common::encoding::Base64;

constexpr char kStandard[65] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kUrl[65] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

std::vector<unsigned char> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

struct Row {
    std::string bytes;
    std::string standard;
    std::string url;
};

const Row kRows[] = {
    {"", "", ""},
    {"f", "Zg==", "Zg=="},
    {"fo", "Zm8=", "Zm8="},
    {"foo", "Zm9v", "Zm9v"},
    {"foob", "Zm9vYg==", "Zm9vYg=="},
    {"fooba", "Zm9vYmE=", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy", "Zm9vYmFy"},
    {"\xFB\xFF", "+/8=", "-_8="},
    {"\xFF\xFF\xFF", "////", "____"},
    {"\xFB\xEF\xBE", "++++", "----"},
    {std::string("\0", 1), "AA==", "AA=="},
    {std::string("a\0b\0", 4), "YQBiAA==", "YQBiAA=="},
    {"\x80", "gA==", "gA=="},
};

TEST(Base64, EncodesInBothAlphabets) {
    for (const Row& row : kRows) {
        const std::string_view view = row.bytes;
        EXPECT_EQ(Base64::encodeToString(row.bytes), row.standard);
        EXPECT_EQ(Base64::encodeToString(view), row.standard);
        EXPECT_EQ(Base64::encodeToString(bytesOf(row.bytes)), row.standard);
        EXPECT_EQ(Base64::encodeUrlToString(row.bytes), row.url);
        EXPECT_EQ(Base64::encodeUrlToString(view), row.url);
        EXPECT_EQ(Base64::encodeUrlToString(bytesOf(row.bytes)), row.url);
    }
    EXPECT_EQ(Base64::encodeToString("fo"), "Zm8=");
    EXPECT_EQ(Base64::encodeToString("\xFB\xFF"), "+/8=");
    EXPECT_EQ(Base64::encodeUrlToString("fo"), "Zm8=");
    EXPECT_EQ(Base64::encodeUrlToString("\xFB\xFF"), "-_8=");
}

TEST(Base64, CoreEncoderReplacesItsOutput) {
    for (const Row& row : kRows) {
        std::string out = "former content";
        Base64::encodeTobase64(row.bytes, kStandard, out);
        EXPECT_EQ(out, row.standard);
        Base64::encodeTobase64(bytesOf(row.bytes), kUrl, out);
        EXPECT_EQ(out, row.url);
        const auto bytes = bytesOf(row.bytes);
        Base64::encodeTobase64(bytes.data(), static_cast<unsigned>(bytes.size()), kStandard, out);
        EXPECT_EQ(out, row.standard);
    }
    std::string out;
    Base64::encodeTobase64(nullptr, 0, kStandard, out);
    EXPECT_EQ(out, "");
}

TEST(Base64, DecodesBothAlphabetsWithoutTheCheck) {
    for (const Row& row : kRows) {
        for (const std::string& text : {row.standard, row.url}) {
            std::string out = "former content";
            Base64::decodeFromBase64Any(text, out, true);
            EXPECT_EQ(out, row.bytes);
            EXPECT_EQ(Base64::decodeToString(text, true), row.bytes);
            EXPECT_EQ(Base64::decodeToString(std::string_view(text), true), row.bytes);
            EXPECT_EQ(Base64::decodeToString(text.c_str(), true), row.bytes);
            EXPECT_EQ(Base64::decodeToByte(text), bytesOf(row.bytes));
        }
    }
}

TEST(Base64, ChecksUnlessToldOtherwise) {
    for (const Row& row : kRows) {
        std::string out;
        Base64::decodeFromBase64Any(row.standard, out);
        EXPECT_EQ(out, row.bytes);
        EXPECT_EQ(Base64::decodeToString(row.standard), row.bytes);
        EXPECT_EQ(Base64::decodeToString(std::string_view(row.standard)), row.bytes);
    }
    const char* const kMessage = "Input in not a base 64 entry";
    for (const std::string text : {"Zg", "-_8=", "____", "<<<<", "Zg=", "Zm8=\n", "Z g=", "===="}) {
        std::string out = "former content";
        EXPECT_THROW_TEXT(Base64::decodeFromBase64Any(text, out), std::invalid_argument, kMessage);
        EXPECT_EQ(out, "former content");
        EXPECT_THROW_TEXT(Base64::decodeToString(text), std::invalid_argument, kMessage);
        EXPECT_THROW_TEXT(Base64::decodeToString(text, false), std::invalid_argument, kMessage);
        EXPECT_THROW_TEXT(Base64::decodeToString(std::string_view(text)), std::invalid_argument,
                          kMessage);
        EXPECT_THROW_TEXT(Base64::decodeToString(text.c_str()), std::invalid_argument, kMessage);
        EXPECT_NO_THROW(static_cast<void>(Base64::decodeToString(text, true)));
    }
}

// Deliberate: without the check, what is no Base64 is skipped and '<' is read like 'A'.
TEST(Base64, UncheckedTextIsReadLeniently) {
    const std::string zeros(3, '\0');
    for (const auto& [text, expected] : {
             std::pair<std::string, std::string>{"Zg", "f"},
             {"Zm8", "fo"},
             {"Z", ""},
             {"Zm9vY", "foo"},
             {"<<<<", zeros},
             {"AAAA", zeros},
             {"====", ""},
             {"Zg==Zg==", "ff"},
             {"=m8=", "\xFE\x6F"},
             {"Z=8=", "\xFF"},
             {"Z==v", "\xEF"},
             {"=g==", "\xFE"},
             {"Zm=v", "f\xEF"},
             {"{m{{", "\xFE"},
             {"Z{8{", "\xFF"},
             {"\xFFm\x80{", "\xFE"},
             {"Z\n8=", "\xFF"},
         }) {
        EXPECT_EQ(Base64::decodeToString(text, true), expected) << text;
        EXPECT_EQ(Base64::decodeToByte(text), bytesOf(expected)) << text;
    }
}

TEST(Base64, DecodingTableOfEveryCharacter) {
    for (unsigned code = 0; code < 256; ++code) {
        const char character = static_cast<char>(static_cast<unsigned char>(code));
        std::size_t value = std::string(kStandard, 64).find(character);
        value = character == '-' ? 62 : character == '_' ? 63 : character == '<' ? 0 : value;
        const std::string second = Base64::decodeToString(std::string("A") + character, true);
        const std::string fourth = Base64::decodeToString(std::string("AA=") + character, true);
        if (value == std::string::npos) {
            EXPECT_EQ(second, "") << code;
            EXPECT_EQ(fourth, std::string(1, '\0')) << code;
        } else {
            EXPECT_EQ(second, std::string(1, static_cast<char>(value >> 4))) << code;
            EXPECT_EQ(fourth, std::string(1, '\0') + static_cast<char>(0xC0 | value)) << code;
        }
    }
}

TEST(Base64, EncodesEveryLengthByTheRuleInAnyAlphabet) {
    // The second but last begins as the standard one does, the last differs from it in one place.
    using Alphabet = const char[65];
    char reversed[65] = {};
    std::reverse_copy(kStandard, kStandard + 64, reversed);
    char ownEnd[65] = {};
    std::copy(kStandard, kStandard + 62, ownEnd);
    ownEnd[62] = '\x01';
    ownEnd[63] = '\xFE';
    char ownMiddle[65] = {};
    std::copy(kStandard, kStandard + 64, ownMiddle);
    ownMiddle[61] = '~';
    std::mt19937 random(9);
    for (std::size_t size = 0; size < 300; ++size) {
        std::string bytes(size, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        for (Alphabet* alphabet :
             std::initializer_list<Alphabet*>{&kStandard, &kUrl, &reversed, &ownEnd, &ownMiddle}) {
            std::string out;
            Base64::encodeTobase64(bytes, *alphabet, out);
            ASSERT_EQ(out, reference::encodedBase64(bytes, *alphabet)) << size;
        }
    }
}

TEST(Base64, EncodesEveryGroupOfBitsAtEveryPlace) {
    for (unsigned value = 0; value < 64; ++value) {
        for (std::size_t place = 0; place < 64; ++place) {
            std::string text(64, 'p');
            text[place] = kStandard[value];
            ASSERT_EQ(Base64::encodeToString(Base64::decodeToString(text)), text);
        }
    }
}

TEST(Base64, DecodesBrokenTextsByTheRule) {
    std::mt19937 random(13);
    const std::string characters = std::string(kStandard, 64) + "-_<=\n{\xFF";
    const int rounds = helpers::kSlow ? 4000 : 20000;
    for (int round = 0; round < rounds; ++round) {
        // Few broken characters in one half of the texts, many in the other.
        std::string text(random() % 40, 'A');
        for (char& character : text) {
            const std::size_t choice = round % 2 == 0 && random() % 8 != 0 ? 64 : characters.size();
            character = characters[random() % choice];
        }
        const auto expected = reference::decodedBase64(text);
        ASSERT_EQ(Base64::decodeToString(text, true), expected) << text;
        ASSERT_EQ(Base64::decodeToByte(text), bytesOf(expected)) << text;
        if (Base64::checkBase64(text)) {
            ASSERT_EQ(Base64::decodeToString(text), expected) << text;
        } else {
            ASSERT_THROW(static_cast<void>(Base64::decodeToString(text)), std::invalid_argument);
        }
    }
}

TEST(Base64, CheckedDecodingAcceptsWhatTheCheckAccepts) {
    for (const std::string base : {"AAAAAAAA", "AAAAAAA=", "AAAAAA==", "AAAAA===", "AAAA===="}) {
        for (std::size_t place = 0; place < base.size(); ++place) {
            for (unsigned code = 0; code < 256; ++code) {
                std::string text = base;
                text[place] = static_cast<char>(static_cast<unsigned char>(code));
                bool accepted = true;
                try {
                    ASSERT_EQ(Base64::decodeToString(text), Base64::decodeToString(text, true));
                } catch (const std::invalid_argument&) {
                    accepted = false;
                }
                ASSERT_EQ(accepted, Base64::checkBase64(text)) << text;
            }
        }
    }
}

TEST(Base64, ReadsBackWhatItWrites) {
    std::mt19937 random(5);
    for (std::size_t size = 0; size < 300; ++size) {
        std::string bytes(size, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        ASSERT_EQ(Base64::decodeToString(Base64::encodeToString(bytes)), bytes);
        ASSERT_EQ(Base64::decodeToString(Base64::encodeUrlToString(bytes), true), bytes);
    }
}

}  // namespace
