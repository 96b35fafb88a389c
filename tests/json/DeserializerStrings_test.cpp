// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Deserializer.h"

#include <array>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "referenceExtraction.h"

namespace {

using vorn::common::lwjson::Deserializer;

std::string extract(std::string_view text) {
    std::string value = "before";
    Deserializer::extractValue(text.data(), static_cast<unsigned>(text.size()), value, "member");
    return value;
}

void expectSameForAllTexts(std::string_view alphabet, std::size_t longest) {
    std::string quoted;
    std::size_t texts = 1;
    for (std::size_t length = 0; length <= longest; ++length, texts *= alphabet.size()) {
        for (std::size_t number = 0; number < texts; ++number) {
            quoted = "\"";
            for (std::size_t rest = number; quoted.size() <= length; rest /= alphabet.size()) {
                quoted += alphabet[rest % alphabet.size()];
            }
            quoted += '"';
            ASSERT_EQ(extract(quoted), unescapedPassByPass(quoted.substr(1, length))) << quoted;
        }
    }
}

TEST(DeserializerStrings, OnePassEqualsTheNinePasses) {
    expectSameForAllTexts("\\\"/bfnrt'x", helpers::kSlow ? 4 : 5);
    expectSameForAllTexts("\\\"nx", helpers::kSlow ? 7 : 8);
}

/// Texts of several blocks, with many and with few escapes.
TEST(DeserializerStrings, LongTextsToo) {
    std::mt19937 random(13);
    constexpr std::string_view kLetters = "\\\"/bfnrt'xu";
    const int rounds = helpers::kSlow ? 2000 : 50000;
    for (int round = 0; round < rounds; ++round) {
        const unsigned rarity = 1 + random() % 20;
        std::string text(random() % 90, 'a');
        for (char& character : text) {
            if (random() % rarity == 0) {
                character = random() % 2 == 0 ? '\\' : kLetters[random() % kLetters.size()];
            }
        }
        ASSERT_EQ(extract('"' + text + '"'), unescapedPassByPass(text)) << text;
    }
}

TEST(DeserializerStrings, EscapesAreResolvedKindByKind) {
    const std::pair<const char*, const char*> rows[] = {
        {R"("")", ""},
        {R"("abc")", "abc"},
        {R"("a\"b")", "a\"b"},
        {R"("\\")", "\\"},
        {R"("\/")", "/"},
        {R"("\b\f\n\r\t")", "\b\f\n\r\t"},
        {R"("\'")", "'"},
        {R"("\\n")", "\n"},
        {R"("\\\\n")", "\\\n"},
        {R"("\\\\\\n")", "\\\\\n"},
        {R"("\\x")", "\\x"},
        {R"("\x")", "\\x"},
        {R"("\u0041")", "\\u0041"},
        {R"("\\u0041")", "\\u0041"},
        {R"("\\\"")", "\\\""},
        {R"("\\\\\"")", "\\\\\""},
        {R"("a\\")", "a\\"},
        {R"("\\\\")", "\\\\"},
        {R"("C:\\temp")", "C:\temp"},
        {R"("a/b")", "a/b"},
        {R"("x\\\/y")", "x\\/y"},
    };
    for (const auto& [text, value] : rows) {
        EXPECT_EQ(extract(text), value) << text;
    }
}

TEST(DeserializerStrings, TheFirstAndLastCharactersAreCutOff) {
    EXPECT_EQ(extract("\""), "");
    EXPECT_EQ(extract("\"a"), "");
    EXPECT_EQ(extract("\"ab"), "a");
    EXPECT_EQ(extract(std::string_view("\"a\0b\"", 5)), std::string("a\0b", 3));
}

TEST(DeserializerStrings, OnlyQuotedTextsAreStrings) {
    for (const std::string_view text : {"", "a", "1", "null", "'a'", " \"a\"", "[\"a\"]", "a\""}) {
        EXPECT_THROW_TEXT(extract(text), std::invalid_argument,
                          "lwjson::deserializer \"member\" is not a string");
    }
}

TEST(DeserializerStrings, TheTargetMayHoldTheText) {
    std::string text = R"("a\\b\"c")";
    Deserializer::extractValue(text.data(), static_cast<unsigned>(text.size()), text, "");
    EXPECT_EQ(text, "a\b\"c");
}

/// Replacing in place would move what follows once for every escape.
TEST(DeserializerStrings, AMegabyteOfEscapesIsReadInOneGo) {
    std::string text = "\"";
    for (int i = 0; i < 500000; ++i) {
        text += R"(\n)";
    }
    EXPECT_EQ(extract(text + "\""), std::string(500000, '\n'));
    EXPECT_EQ(extract("\"" + std::string(1000000, '\\') + "\""), std::string(500000, '\\'));
}

}  // namespace
