// SPDX-License-Identifier: MIT
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/strlcpy.h>

namespace {

struct Row {
    const char* source;
    std::size_t size;
    std::string expected;  ///< the whole buffer of eight bytes, '#' where nothing was written
};

TEST(Strlcpy, CopiesWhatFits) {
    using namespace std::string_literals;
    for (const Row& row : {Row{"hello", 3, "he\0#####"s}, Row{"hello", 5, "hell\0###"s},
                           Row{"hello", 6, "hello\0##"s}, Row{"hello", 8, "hello\0##"s},
                           Row{"hello", 1, "\0#######"s}, Row{"hello", 0, "########"s},
                           Row{"", 8, "\0#######"s}, Row{"", 0, "########"s},
                           Row{"1234567", 8, "1234567\0"s}, Row{"12345678", 8, "1234567\0"s}}) {
        std::string buffer(8, '#');
        const std::string source = row.source;
        EXPECT_EQ(vorn::common::strlcpy(buffer.data(), row.source, row.size), source.size());
        EXPECT_EQ(buffer, row.expected) << row.source << " " << row.size;
    }
}

TEST(StrlcpyDeathTest, NullPointersAreAsserted) {
    char buffer[4] = {};
    EXPECT_DEATH(vorn::common::strlcpy(buffer, nullptr, 4),
                 "src/strlcpy.*strlcpy.*Assertion `source' failed");
    EXPECT_DEATH(vorn::common::strlcpy(nullptr, "text", 0),
                 "src/strlcpy.*strlcpy.*Assertion `destination' failed");
    EXPECT_DEATH(vorn::common::strlcpy(nullptr, nullptr, 0), "Assertion `source' failed");
}

}  // namespace
