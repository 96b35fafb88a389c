// SPDX-License-Identifier: MIT
#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/encoding/UrlEncode.h>

#include "helpers/expect_throw.h"
#include "helpers/latin1.h"
#include "identifiers/encoding/referenceUrl.h"

namespace {

using vorn::common::encoding::UrlEncode;

const std::string kUnreserved =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-._~";

TEST(UrlEncode, ValidCharacters) {
    const std::string valid = kUnreserved + ":/?#[]@!$&'()*+,;=%";
    for (unsigned code = 0; code < 256; ++code) {
        const char character = static_cast<char>(static_cast<unsigned char>(code));
        EXPECT_EQ(UrlEncode::isValidUrlChar(character), valid.find(character) != std::string::npos)
            << code;
    }
}

TEST(UrlEncode, Encodes) {
    for (const auto& [text, encoded] : {
             std::pair<std::string, std::string>{"", ""},
             {"a b", "a%20b"},
             {"~x-y._", "~x-y._"},
             {"100%", "100%25"},
             {"a+b", "a%2Bb"},
             {"/?&=", "%2F%3F%26%3D"},
             {"\xC3\xA9\xFF", "%C3%A9%FF"},
             {"\x10", "%10"},
         }) {
        EXPECT_EQ(UrlEncode::encode(text), encoded);
        EXPECT_EQ(UrlEncode::decode(encoded), text);
    }
}

// Deliberate: no zero padding, and decode() does not read it back.
TEST(UrlEncode, SmallBytesGiveOneDigit) {
    EXPECT_EQ(UrlEncode::encode("\t"), "%9");
    EXPECT_EQ(UrlEncode::encode("\n"), "%A");
    EXPECT_EQ(UrlEncode::encode(std::string("\0\x0F", 2)), "%0%F");
    EXPECT_EQ(UrlEncode::decode(UrlEncode::encode("\tAB")),
              "\x9A"
              "B");
}

TEST(UrlEncode, EncodesEveryByte) {
    const char* const kDigits = "0123456789ABCDEF";
    for (unsigned code = 0; code < 256; ++code) {
        const char character = static_cast<char>(static_cast<unsigned char>(code));
        std::string expected(1, character);
        if (kUnreserved.find(character) == std::string::npos) {
            expected = "%";
            if (code >= 16) {
                expected += kDigits[code >> 4];
            }
            expected += kDigits[code & 15];
        }
        EXPECT_EQ(UrlEncode::encode(std::string(1, character)), expected) << code;
    }
}

TEST(UrlEncode, Decodes) {
    for (const auto& [text, decoded] : {
             std::pair<std::string, std::string>{"a%20b", "a b"},
             {"a+b", "a+b"},
             {"%c3%A9", "\xC3\xA9"},
             {"%00", std::string(1, '\0')},
             {"%2525", "%25"},
             {"%41%42", "AB"},
             {"\xFF raw", "\xFF raw"},
         }) {
        EXPECT_EQ(UrlEncode::decode(text), decoded);
    }
}

TEST(UrlEncode, DecodeRefuses) {
    for (const std::string text : {"%", "%4", "abc%", "abc%4", "%41%", "%%4", "%4%"}) {
        const bool short_ = text.size() - text.find('%') < 3 || text == "%41%";
        EXPECT_THROW_TEXT(UrlEncode::decode(text), std::runtime_error,
                          short_ ? "Unexpected end of string" : "Failed hex to dec conversion");
    }
    for (const std::string text : {"%zz", "%4z", "%z4", "%-1", "% 1", "%+1", "%0x", "%\xFF\xFF"}) {
        EXPECT_THROW_TEXT(UrlEncode::decode(text), std::runtime_error,
                          "Failed hex to dec conversion");
    }
}

void expectTheRuleForTextsOfEveryLength() {
    std::mt19937 random(5);
    for (std::size_t length = 0; length < 1100; ++length) {
        // Mostly letters in one half of the texts, all bytes alike in the other.
        std::string text(length, 'x');
        for (char& character : text) {
            character = random() % 4 != 0 && length % 2 == 0
                            ? kUnreserved[random() % kUnreserved.size()]
                            : static_cast<char>(static_cast<unsigned char>(random() % 256));
        }
        ASSERT_EQ(UrlEncode::encode(text), reference::urlEncoded(text));
        // What has two digits is read back.
        std::replace_if(
            text.begin(), text.end(), [](unsigned char byte) { return byte < 16; }, '/');
        ASSERT_EQ(UrlEncode::decode(UrlEncode::encode(text)), text);
    }
}

TEST(UrlEncode, EveryLengthFollowsTheRule) {
    expectTheRuleForTextsOfEveryLength();
}

TEST(UrlEncode, EveryLengthFollowsTheRuleInAnotherLocale) {
    const helpers::Latin1Locale latin1;
    if (!latin1.isInForce()) {
        GTEST_SKIP() << "no Latin-1 locale can be made here";
    }
    expectTheRuleForTextsOfEveryLength();
}

TEST(UrlEncode, LettersAreThoseOfTheCurrentLocale) {
    const helpers::Latin1Locale latin1;
    if (!latin1.isInForce()) {
        GTEST_SKIP() << "no Latin-1 locale can be made here";
    }
    EXPECT_TRUE(UrlEncode::isValidUrlChar('\xE9'));
    EXPECT_EQ(UrlEncode::encode("\xE9\xD7"), "\xE9%D7");
}

}  // namespace
