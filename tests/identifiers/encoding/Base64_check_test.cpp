// SPDX-License-Identifier: MIT
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/encoding/Base64.h>

namespace {

using vorn::common::encoding::Base64;

const std::string kPattern = "^(?:[A-Za-z0-9+/]{4})*(?:[A-Za-z0-9+/]{2}==|[A-Za-z0-9+/]{3}=)?$";

bool matches(const std::regex& pattern, const std::string& text) {
    return text.size() % 4 == 0 && std::regex_match(text, pattern);
}

/// Every text of exactly that length over the characters.
template <class Visitor>
void forEachText(const std::string& characters, std::size_t length, Visitor visit) {
    std::string text(length, characters[0]);
    std::size_t total = 1;
    for (std::size_t i = 0; i < length; ++i) {
        total *= characters.size();
    }
    for (std::size_t number = 0; number < total; ++number) {
        std::size_t rest = number;
        for (char& character : text) {
            character = characters[rest % characters.size()];
            rest /= characters.size();
        }
        visit(text);
    }
}

TEST(Base64Check, AgreesWithThePatternOnAllShortTexts) {
    const std::regex pattern(kPattern);
    std::size_t accepted = 0;
    for (std::size_t length = 0; length <= 6; ++length) {
        forEachText("A+=-\n", length, [&](const std::string& text) {
            ASSERT_EQ(Base64::checkBase64(text), matches(pattern, text)) << text;
            accepted += Base64::checkBase64(text) ? 1 : 0;
        });
    }
    EXPECT_EQ(accepted, 1U + 16U + 8U + 4U);
}

/// At eight characters the texts differ from the shorter ones in the second group only, so the
/// pattern itself is asked where the first group is valid or broken in one place.
TEST(Base64Check, AgreesWithThePatternOnTwoGroups) {
    const std::regex pattern(kPattern);
    for (const std::string first : {"AAAA", "A+/9", "AAA=", "AA==", "A===", "-AAA", "AAA\n"}) {
        forEachText("A+=-\n", 4, [&](const std::string& second) {
            const std::string text = first + second;
            ASSERT_EQ(Base64::checkBase64(text), matches(pattern, text)) << text;
        });
    }
}

TEST(Base64Check, AgreesWithThePatternOnEveryCharacter) {
    const std::regex pattern(kPattern);
    for (unsigned code = 0; code < 256; ++code) {
        for (std::size_t position = 0; position < 8; ++position) {
            for (std::string text : {"AAAAAAAA", "AAAAAAA=", "AAAAAA=="}) {
                text[position] = static_cast<char>(static_cast<unsigned char>(code));
                ASSERT_EQ(Base64::checkBase64(text), matches(pattern, text)) << text;
            }
        }
    }
}

TEST(Base64Check, TakesLongTextsInItsStride) {
    const std::string longText(8'000'000, 'A');
    EXPECT_TRUE(Base64::checkBase64(longText));
    EXPECT_TRUE(Base64::checkBase64(longText + "AA=="));
    EXPECT_FALSE(Base64::checkBase64(longText + "A"));
    EXPECT_FALSE(Base64::checkBase64("=" + longText + "AAA"));
    EXPECT_FALSE(Base64::checkBase64(std::string(8'000'000, '=')));
}

TEST(Base64Check, EmptyTextPasses) {
    EXPECT_TRUE(Base64::checkBase64(""));
}

}  // namespace
