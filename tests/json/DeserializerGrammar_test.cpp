// SPDX-License-Identifier: MIT
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "ReferenceReader.h"
#include "dump.h"
#include "helpers/environment.h"

namespace {

using vorn::common::lwjson::Deserializer;

::testing::AssertionResult sameTree(const ReferenceReader& expected, const Deserializer& found) {
    if (expected.type != static_cast<int>(found.type()) || expected.isNull != found.isNull() ||
        expected.name != found.name() || expected.value != found.value.view() ||
        expected.members.size() != found.members().size()) {
        return ::testing::AssertionFailure() << dump(found);
    }
    if (expected.begin != found.text().data ||
        expected.end != found.text().data + found.text().size) {
        return ::testing::AssertionFailure() << "text of " << dump(found);
    }
    if (found.members().capacity() != found.members().size()) {
        return ::testing::AssertionFailure() << "capacity " << found.members().capacity();
    }
    for (std::size_t i = 0; i < expected.members.size(); ++i) {
        const auto result = sameTree(expected.members[i], found.members()[i]);
        if (!result) {
            return result;
        }
    }
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult agrees(const std::string& text, Deserializer::Options options) {
    ReferenceReader expected;
    expected.singleQuotedKeys = (options & Deserializer::AllowSingleQuotedKeys) != 0;
    expected.emptyValues = (options & Deserializer::AllowEmptyValues) != 0;
    std::string expectedError;
    try {
        expected.parse(text.data(), text.data() + text.size(), Deserializer::kMaxNestingDepth,
                       true);
    } catch (const std::exception& error) {
        expectedError = error.what();
    }
    std::string foundError;
    Deserializer found(options);
    try {
        found.importJson(std::string_view(text));
    } catch (const std::exception& error) {
        foundError = error.what();
    }
    if (expectedError != foundError) {
        return ::testing::AssertionFailure()
               << text << "\nthrew:    " << foundError << "\nexpected: " << expectedError;
    }
    if (foundError.empty()) {
        const auto same = sameTree(expected, found);
        return same ? same : ::testing::AssertionFailure() << text << "\n" << same.message();
    }
    return ::testing::AssertionSuccess();
}

constexpr auto kBothOptions = Deserializer::AllowSingleQuotedKeys | Deserializer::AllowEmptyValues;

/// Of the longest texts only those that begin with an opening character, the first three.
TEST(DeserializerGrammar, EveryShortTextReadsAsTheGrammarSays) {
    constexpr std::string_view kAlphabet = "[{\"]}:,\\a ";
    constexpr std::size_t kOpening = 3;
    const std::size_t longest = helpers::kSlow ? 4 : 5;
    std::string text;
    std::size_t texts = 1;
    for (std::size_t length = 0; length <= longest; ++length, texts *= kAlphabet.size()) {
        for (std::size_t number = 0; number < texts; ++number) {
            if (length == longest && number % kAlphabet.size() >= kOpening) {
                continue;
            }
            text.clear();
            for (std::size_t rest = number; text.size() < length; rest /= kAlphabet.size()) {
                text += kAlphabet[rest % kAlphabet.size()];
            }
            ASSERT_TRUE(agrees(text, Deserializer::None));
            ASSERT_TRUE(agrees(text, kBothOptions));
        }
    }
}

/// Pieces at random make texts of which about half are well formed up to a late place.
TEST(DeserializerGrammar, RandomTextsReadAsTheGrammarSays) {
    std::mt19937 random(20240229);
    const auto pick = [&](unsigned count) { return random() % count; };
    constexpr std::string_view kScalars[] = {
        "1",      "null", "true", "\"x\"",    "\"a\\\"b,]\"", "-1.5e3",
        "nullx",  "'y'",  "a\"b", "\"\\\\\"", "\"{[\"",       "\"long text of more than sixteen\"",
        "\"\n\"", "",     "\v1"};
    constexpr std::string_view kSpaces[] = {"",  "",     "",   "",
                                            " ", "\n  ", "\t", "\r\n                    "};
    constexpr std::string_view kKeys[] = {"\"k\"", "\"k\"", "\"key, with ] and }\"",
                                          "'s'",   "\"\"",  "x"};
    const std::function<std::string(unsigned)> make = [&](unsigned depth) -> std::string {
        const unsigned kind = depth == 0 ? 0 : pick(3);
        std::string text(kSpaces[pick(8)]);
        if (kind == 0) {
            text += kScalars[pick(32) == 0 ? pick(15) : pick(6)];
        } else {
            text += kind == 1 ? '[' : '{';
            const unsigned count = pick(8) == 0 ? pick(40) : pick(5);
            for (unsigned i = 0; i < count; ++i) {
                text += i == 0 ? "" : ",";
                text += kSpaces[pick(8)];
                if (kind == 2) {
                    text += kKeys[pick(40) == 0 ? pick(6) : pick(3)];
                    text += kSpaces[pick(8)];
                    text += pick(60) == 0 ? "" : ":";
                }
                text += make(depth - 1);
            }
            text += pick(60) == 0 ? "" : kind == 1 ? "]" : "}";
        }
        return text + std::string(kSpaces[pick(8)]);
    };
    const int rounds = helpers::kSlow ? 100 : 2000;
    int wellFormed = 0;
    for (int i = 0; i < rounds; ++i) {
        const std::string text = make(5);
        const auto options = pick(2) == 0 ? Deserializer::None : kBothOptions;
        ASSERT_TRUE(agrees(text, options));
        wellFormed += parsed(text, options).find(": ") == std::string::npos ? 1 : 0;
    }
    EXPECT_GT(wellFormed, rounds / 4);
    EXPECT_LT(wellFormed, rounds);
}

/// Short texts of pieces that a reader could confuse, most of them malformed somewhere.
TEST(DeserializerGrammar, HundredsOfThousandsOfShortTextsReadAsTheGrammarSays) {
    std::mt19937 random(20260311);
    constexpr std::string_view kPieces[] = {"[",        "[",      "{",
                                            "{",        "]",      "]",
                                            "}",        "}",      ",",
                                            ",",        ",",      ":",
                                            "\"k\":",   "\"k\":", "\"key\" : ",
                                            "'k'",      "\"",     "\\",
                                            "\\\"",     "1",      "-2.5",
                                            "null",     "nullx",  "true",
                                            " ",        "\n  ",   "\"a\\\\\"",
                                            "\x01",     "\xff",   "\"\"",
                                            "\"text\"", "\t\r",   "                 "};
    const int rounds = helpers::kSlow ? 5000 : 300000;
    std::string text;
    for (int i = 0; i < rounds; ++i) {
        text.clear();
        const auto opening = random() % 4;
        text += opening == 0 ? "[" : opening == 1 ? "{\"a\":" : "";
        for (auto count = random() % 12; count != 0; --count) {
            text += kPieces[random() % std::size(kPieces)];
        }
        text += opening == 0 ? "]" : opening == 1 ? "}" : "";
        ASSERT_TRUE(agrees(text, random() % 2 == 0 ? Deserializer::None : kBothOptions));
    }
}

TEST(DeserializerGrammar, NothingBehindTheEndIsRead) {
    const std::string_view text = R"({"key":[1,null,"str\"ing"],'s':tru})";
    for (std::size_t length = 0; length <= text.size(); ++length) {
        const auto exact = std::make_unique<char[]>(length);
        text.copy(exact.get(), length);
        const std::string terminated(text.substr(0, length));
        for (const auto options : {Deserializer::None, kBothOptions}) {
            EXPECT_EQ(parsed(std::string_view(exact.get(), length), options),
                      parsed(terminated, options));
        }
    }
    EXPECT_EQ(parsed(std::string_view("[]", 1)), "runtime: Empty value (\"\")");
    EXPECT_EQ(parsed(std::string_view("{}", 1)), "runtime: Invalid token when looking for key");
    EXPECT_EQ(parsed(std::string_view("nullx", 4)), "null!");
    EXPECT_EQ(parsed(std::string_view("null", 3)), "nul");
    EXPECT_EQ(parsed(std::string_view("\"ab\"", 3)),
              "invalid: The string is missing the terminator \" (34)");
    EXPECT_EQ(parsed(std::string_view("{\"a\":1", 4)), "runtime: Missing ':' token after key");
    EXPECT_EQ(parsed(std::string_view("1x", 1)), "1");
    EXPECT_EQ(parsed(std::string_view("{\"a\":1,\t\"b\":2}", 8)),
              "runtime: Invalid token when looking for key");
    EXPECT_EQ(parsed(std::string_view("[1,\t2]", 4)), "runtime: Empty value (\"\t\")");
    EXPECT_EQ(parsed(std::string_view("\t2", 1)), "runtime: Empty value (\"\t\")");
}

TEST(DeserializerGrammar, ANulEndsWhateverStandsBeforeIt) {
    using namespace std::string_view_literals;
    EXPECT_EQ(parsed("\0"sv), "runtime: Empty value (\"");
    EXPECT_EQ(parsed("1\0"sv), "runtime: Unexpected character '");
    EXPECT_EQ(parsed("[1\0]"sv), "runtime: Invalid token in object");
    EXPECT_EQ(parsed("\"a\0b\""sv), "invalid: The string is missing the terminator \" (34)");
    EXPECT_EQ(parsed("{\"a\0\":1}"sv), "invalid: The string is missing the terminator \" (34)");
    EXPECT_EQ(parsed("null\0"sv), "runtime: Unexpected character '");
    EXPECT_EQ(parsed("{\"a\"\0:1}"sv), "runtime: Missing ':' token after key");
}

}  // namespace
