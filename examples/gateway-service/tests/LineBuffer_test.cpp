#include "LineBuffer.h"

#include <gtest/gtest.h>

namespace gateway {

namespace {

// Lines as text, their problems as a mark in front.
std::string drain(LineBuffer& buffer) {
    std::string lines;
    while (const auto line = buffer.next()) {
        constexpr const char* marks[] = {"=", "long", "unfinished"};
        lines += marks[static_cast<int>(line->problem)] + line->text + ";";
    }
    return lines;
}

}  // namespace

TEST(LineBuffer, CutsLinesHoweverTheBytesArrive) {
    const std::string text = "one\n\ntwo2\nthree3\nno";
    for (std::size_t block = 1; block <= text.size(); ++block) {
        LineBuffer buffer(5);
        std::string lines;
        for (std::size_t place = 0; place < text.size(); place += block) {
            buffer.append(std::string_view(text).substr(place, block));
            lines += drain(buffer);
        }
        EXPECT_EQ(lines, "=one;=;=two2;long;") << block;
        EXPECT_FALSE(buffer.exhausted());
        buffer.end();
        EXPECT_EQ(drain(buffer), "unfinished;");
        EXPECT_TRUE(buffer.exhausted());
    }
}

TEST(LineBuffer, TheLimitItselfFits) {
    LineBuffer buffer(3);
    buffer.append("abc\nabcd\n");
    EXPECT_EQ(drain(buffer), "=abc;long;");
}

TEST(LineBuffer, AnEndAfterAWholeLineLeavesNothing) {
    LineBuffer buffer(3);
    buffer.append("a\n");
    buffer.end();
    EXPECT_FALSE(buffer.exhausted());
    EXPECT_EQ(drain(buffer), "=a;");
    EXPECT_TRUE(buffer.exhausted());
}

TEST(LineBuffer, AnEndInsideALineThatIsTooLongIsToldOnce) {
    LineBuffer buffer(3);
    buffer.append("abcdefgh");
    EXPECT_EQ(drain(buffer), "");
    buffer.end();
    EXPECT_EQ(drain(buffer), "unfinished;");
}

}  // namespace gateway
