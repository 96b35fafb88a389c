// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "internal/EnumTexts.h"

namespace {

enum class Colour { Other, Red, Green };

constexpr std::array<vorn::common::internal::EnumText<Colour>, 2> kTexts{{
    {Colour::Red, "red"},
    {Colour::Green, "green"},
}};

TEST(EnumTexts, FindsTextsAndValuesOrTheAlternative) {
    EXPECT_EQ(textOf(kTexts, Colour::Green, "undefined"), "green");
    EXPECT_EQ(textOf(kTexts, Colour::Other, "undefined"), "undefined");
    EXPECT_EQ(valueOf(kTexts, "red", Colour::Other), Colour::Red);
    EXPECT_EQ(valueOf(kTexts, "Red", Colour::Other), Colour::Other);
    EXPECT_EQ(valueOf(kTexts, "re", Colour::Other), Colour::Other);
}

}  // namespace
