// SPDX-License-Identifier: MIT
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/strings/strings.h>

#include "helpers/latin1.h"

namespace {

using vorn::common::findEsc;
namespace strings = vorn::common::strings;

constexpr std::size_t kNone = std::string::npos;

TEST(Trim, RemovesWhiteSpaceAtBothEnds) {
    for (const auto& [text, expected] : {
             std::pair<std::string, std::string>{"", ""},
             {"a", "a"},
             {"  a b  ", "a b"},
             {" \t\n\v\f\ra\t \n\v\f\r", "a"},
             {"   ", ""},
             {"\n", ""},
             {std::string(" \0 ", 3), std::string(1, '\0')},
             {"\xA0x\x85", "\xA0x\x85"},
             {"\xFF ", "\xFF"},
         }) {
        std::string trimmed = text;
        strings::trim(trimmed);
        EXPECT_EQ(trimmed, expected);
    }
}

TEST(Trim, FollowsTheCurrentLocale) {
    const helpers::Latin1Locale latin1;
    if (!latin1.isInForce()) {
        GTEST_SKIP() << "no Latin-1 locale can be made here";
    }
    for (unsigned code = 0x80; code < 256; ++code) {
        const char character = static_cast<char>(static_cast<unsigned char>(code));
        std::string text = std::string(1, character) + "x" + character;
        strings::trim(text);
        EXPECT_EQ(text.size(), std::isspace(static_cast<int>(code)) != 0 ? 1U : 3U) << code;
    }
}

TEST(HeapSize, IsZeroWhileTheObjectHoldsTheCharacters) {
    EXPECT_EQ(strings::heap_size(std::string()), 0U);
    EXPECT_EQ(strings::heap_size("short"), 0U);
    EXPECT_EQ(strings::heap_size(std::string(std::string().capacity(), 'x')), 0U);
    const std::string onHeap(std::string().capacity() + 1, 'x');
    EXPECT_EQ(strings::heap_size(onHeap), onHeap.capacity());
    // The heap lies between static objects and the stack: characters behind the object, too.
    static const std::string inFront(100, 'x');
    EXPECT_EQ(strings::heap_size(inFront), inFront.capacity());
    std::string shrunk(5000, 'x');
    shrunk.resize(1);
    EXPECT_EQ(strings::heap_size(shrunk), shrunk.capacity());
    EXPECT_GE(strings::heap_size(shrunk), 5000U);
}

struct Row {
    std::string text;
    std::string pattern;
    std::size_t start;
    char escape;
    std::size_t expected;
};

const Row kRows[] = {
    {"a,b,c", ",", 0, '\0', 1},
    {"a,b,c", ",", 2, '\0', 3},
    {"a,b,c", ";", 0, '\0', kNone},
    {"a,b", ",", 3, '\0', kNone},
    {"a,b", ",", 4, '\0', kNone},
    {"a,b", ",", kNone, '\0', kNone},
    {"", ",", 0, '\\', kNone},
    {"", "", 0, '\0', 0},
    {"abc", "", 2, '\0', 2},
    {"abc", "", 3, '\\', 3},
    {"abc", "", 4, '\0', kNone},
    {R"(\x)", "", 1, '\\', 1},
    {R"(a\,b,c)", ",", 0, '\0', 2},
    {R"(a\,b,c)", ",", 0, '\\', 4},
    {R"(a\\,b,c)", ",", 0, '\\', 3},
    {R"(a\\\,b,c)", ",", 0, '\\', 6},
    {R"(a\,b)", ",", 0, '\\', kNone},
    {R"(\,)", ",", 0, '\\', kNone},
    {R"(\,)", ",", 1, '\\', 1},
    {R"(\\,)", ",", 1, '\\', kNone},
    {R"(\\\,)", ",", 1, '\\', 3},
    {R"(x\y,\,,)", ",", 0, '\\', 3},
    {R"(\""")", "\"", 0, '\\', 2},
    {R"(\\)", "\\", 0, '\\', 0},
    {R"(\\)", "\\", 1, '\\', 1},
    {R"(a\end end)", "end", 0, '\\', 6},
    {R"(\aaa)", "aa", 0, '\\', 2},
    {std::string("a\0b\0c", 5), std::string("\0c", 2), 0, '\\', 3},
};

TEST(FindEsc, PassesOverEscapedMatches) {
    for (const Row& row : kRows) {
        EXPECT_EQ(findEsc(row.text, row.pattern, row.start, row.escape), row.expected)
            << row.text << " " << row.pattern << " " << row.start;
        EXPECT_EQ(strings::findEsc(row.text, row.pattern, row.start, row.escape), row.expected);
    }
    EXPECT_EQ(findEsc("a,b", ",", 0), 1U);
}

TEST(FindEsc, CountsLongRunsOfEscapesOnce) {
    std::string text;
    for (int i = 0; i < 300'000; ++i) {
        text += R"(\")";
    }
    EXPECT_EQ(findEsc(text, "\"", 0, '\\'), kNone);
    EXPECT_EQ(findEsc(std::string(600'001, '\\') + ",", ",", 0, '\\'), kNone);
    EXPECT_EQ(findEsc(std::string(600'000, '\\') + ",", ",", 0, '\\'), 600'000U);
    EXPECT_EQ(findEsc(std::string(600'000, '\\') + "x", "\\x", 0, '\\'), kNone);
}

}  // namespace
