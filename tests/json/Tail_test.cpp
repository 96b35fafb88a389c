// SPDX-License-Identifier: MIT
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "lwjson/Tail.h"

namespace {

using vorn::common::internal::copyCharacters;
using vorn::common::internal::liesIn;
using vorn::common::internal::Tail;

TEST(Tail, TextsOfEveryLengthAreCopied) {
    const std::string text = "abcdefghijklmnopqrstuvwxyz0123456789";
    for (std::size_t size = 0; size <= text.size(); ++size) {
        std::string to(text.size() + 1, '.');
        EXPECT_EQ(copyCharacters(to.data(), {text.data(), size}), to.data() + size);
        EXPECT_EQ(to, text.substr(0, size) + std::string(text.size() + 1 - size, '.'));
    }
}

TEST(Tail, WhatIsNotUsedIsCutOff) {
    std::string text = "begin";
    { Tail unused(text, 1000); }
    EXPECT_EQ(text, "begin");
    {
        Tail tail(text, 3);
        tail.put(':');
        tail.put("a longer text than there is room for");
        tail.removeLast('x');
        tail.removeLast('r');
        tail.putIndentation(3);
        char* to = tail.room(2);
        *to++ = '!';
        tail.advanceTo(to);
    }
    EXPECT_EQ(text, "begin:a longer text than there is room fo\n  !");
    {
        Tail tail(text, 0);
        tail.removeLast('!');
    }
    EXPECT_EQ(text, "begin:a longer text than there is room fo\n  ");
}

TEST(Tail, IndentationsOfEveryLengthAreCopied) {
    for (std::size_t size = 0; size <= 201; ++size) {
        std::string text;
        { Tail(text, 0).putIndentation(size); }
        EXPECT_EQ(text, ("\n" + std::string(200, ' ')).substr(0, size));
    }
}

TEST(Tail, TextsInsideTheOutputAreSeen) {
    const std::string output = "some text that is longer than a short string";
    const std::string other = "other";
    EXPECT_TRUE(liesIn(std::string_view(output).substr(5, 4), output));
    EXPECT_TRUE(liesIn(output, output));
    EXPECT_FALSE(liesIn(other, output));
    EXPECT_FALSE(liesIn({}, output));
}

}  // namespace
