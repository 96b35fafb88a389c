// SPDX-License-Identifier: MIT
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "lwjson/scan.h"

namespace {

namespace internal = vorn::common::internal;
namespace scan = internal::scan;

template <class BlockType>
class Scan : public testing::Test {};

#ifdef __SSE2__
using Blocks = testing::Types<internal::WordBlock, internal::VectorBlock>;
#else
using Blocks = testing::Types<internal::WordBlock>;
#endif
TYPED_TEST_SUITE(Scan, Blocks);

template <class Predicate>
std::ptrdiff_t firstOf(std::string_view text, Predicate predicate) {
    return std::find_if(text.begin(), text.end(), predicate) - text.begin();
}

/// A backslash takes the character behind it along; -1 without a closing quote before a NUL.
std::ptrdiff_t closingQuote(std::string_view text, char quote) {
    for (std::size_t i = 0; i < text.size() && text[i] != '\0'; ++i) {
        if (text[i] == quote) {
            return static_cast<std::ptrdiff_t>(i);
        }
        if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] != '\0') {
            ++i;
        }
    }
    return -1;
}

/// Runs all searches on the text, copied into memory of exactly its size (so that the address
/// sanitizer sees a step outside), and compares them with a search character by character.
template <class Block>
void expectSearches(std::string_view text) {
    const auto memory = std::make_unique<char[]>(text.size());
    text.copy(memory.get(), text.size());
    const char* begin = memory.get();
    const char* end = begin + text.size();
    ASSERT_EQ(scan::nonSpace<Block>(begin, end) - begin,
              firstOf(text, [](char c) { return !internal::isJsonSpace(c); }));
    for (const char quote : {'"', '\''}) {
        const char* closing = scan::closingQuote<Block>(begin, end, quote);
        ASSERT_EQ(closing == nullptr ? -1 : closing - begin, closingQuote(text, quote)) << text;
    }
    ASSERT_EQ(scan::tokenEnd<Block>(begin, end) - begin, firstOf(text, scan::endsToken));
    ASSERT_EQ(scan::lineFeed<Block>(begin, end) - begin,
              firstOf(text, [](char c) { return c == '\n'; }));
    ASSERT_EQ(scan::escapable<Block>(begin, end) - begin,
              firstOf(text, [](char c) { return internal::escapeLetter(c) != '\0'; }));
}

TYPED_TEST(Scan, FindsEveryCharacterAtEveryPlace) {
    for (std::size_t length = 0; length <= 40; ++length) {
        for (const char filler : {' ', '\n', 'a', '\x01', '\x80', '\xff'}) {
            expectSearches<TypeParam>(std::string(length, filler));
        }
    }
    for (int character = 0; character < 256; ++character) {
        for (std::size_t place = 0; place < 36; ++place) {
            for (const char filler : {' ', 'a', '\x7f'}) {
                std::string text(36, filler);
                text[place] = static_cast<char>(character);
                expectSearches<TypeParam>(text);
            }
        }
    }
}

TYPED_TEST(Scan, FindsEachSpecialCharacterAtEveryPlaceOfShortTexts) {
    for (const char special : {'\n', '"', '\\', '\t', '\b', ' ', ',', ']', '\0', '\x01'}) {
        for (std::size_t length = 1; length <= 20; ++length) {
            for (std::size_t place = 0; place < length; ++place) {
                std::string text(length, 'a');
                text[place] = special;
                expectSearches<TypeParam>(text);
            }
        }
    }
}

TYPED_TEST(Scan, FindsTheFirstOfSeveral) {
    std::mt19937 random(3);
    constexpr std::string_view kCharacters(
        "\" \n\t\r\\'\0\x01\x1f\x20\x21\x22\x23\x7f\x80\xa2\xff"
        "a",
        19);
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 50, ' ');
        const std::size_t plain = text.empty() ? 0 : random() % text.size();
        for (std::size_t i = 0; i < text.size(); ++i) {
            text[i] = i < plain ? (round % 2 == 0 ? ' ' : 'x')
                                : kCharacters[random() % kCharacters.size()];
        }
        expectSearches<TypeParam>(text);
    }
}

TYPED_TEST(Scan, RunsOfBackslashesOfEveryLength) {
    for (std::size_t before = 0; before < 20; ++before) {
        for (std::size_t run = 0; run < 40; ++run) {
            const std::string text = std::string(before, 'x') + std::string(run, '\\') + "\"";
            expectSearches<TypeParam>(text);
            expectSearches<TypeParam>(text + "\\\\\"");
            expectSearches<TypeParam>("\\\"" + text + "y\"" + text);
        }
    }
}

TYPED_TEST(Scan, BackslashesAndQuotesAtRandom) {
    std::mt19937 random(5);
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 60, 'x');
        for (char& character : text) {
            const auto number = random() % 100;
            character = number < 60 ? '\\' : number < 75 ? '"' : number < 76 ? '\0' : '\'';
        }
        expectSearches<TypeParam>(text);
    }
}

/// Runs across the borders of 16 and of 64 characters; nearly all quotes are escaped, so that the
/// search goes on behind them.
TYPED_TEST(Scan, LongStringsOfEscapedQuotes) {
    std::mt19937 random(29);
    for (int round = 0; round < 4000; ++round) {
        std::string text(random() % 70, 'x');
        while (text.size() < 300) {
            const bool closes = random() % 20 == 0;
            const auto run = 2 * (random() % (round % 2 == 0 ? 3 : 40)) + (closes ? 0 : 1);
            text += std::string(run, '\\') + '"' + std::string(random() % 9, 'y');
        }
        expectSearches<TypeParam>(text);
    }
}

TEST(ScanText, ClosingQuotes) {
    const struct {
        std::string_view text;
        std::ptrdiff_t place;  // -1: none
    } rows[] = {
        {"", -1},           {"\"", 0},     {"a\"", 1},        {"\\\"", -1},
        {"\\\"\"", 2},      {"\\\\\"", 2}, {"\\\\\\\"", -1},  {"a\\\"b\"c\"", 4},
        {{"a\0\"", 3}, -1}, {"abc", -1},   {"\\\\\\\\\"", 4}, {"\"\"", 0},
    };
    for (const auto& row : rows) {
        const char* begin = row.text.data();
        const char* found = scan::closingQuote(begin, begin + row.text.size(), '"');
        EXPECT_EQ(found == nullptr ? -1 : found - begin, row.place) << row.text;
    }
}

TEST(ScanText, ANulEndsALongStringWithoutAQuote) {
    std::string text(100, 'a');
    text[30] = '\0';
    text[40] = '"';
    EXPECT_EQ(scan::closingQuote(text.data(), text.data() + text.size(), '"'), nullptr);
}

TEST(ScanText, TokenEnds) {
    for (int character = 0; character < 256; ++character) {
        const std::string text = std::string("ab") + static_cast<char>(character) + "c";
        const bool stops =
            std::string_view(" \t\n\r,[]{}:\0", 11).find(static_cast<char>(character)) !=
            std::string_view::npos;
        EXPECT_EQ(scan::tokenEnd(text.data(), text.data() + 4) - text.data(), stops ? 2 : 4);
    }
}

}  // namespace
