// SPDX-License-Identifier: MIT
#include <stdexcept>

#include <gtest/gtest.h>

#include "encoding/uuidBase64.h"
#include "helpers/expect_throw.h"

namespace {

using namespace vorn::common::internal;

TEST(UuidBase64Value, LooksUpOneCharacter) {
    constexpr auto kTable = base64Table(kBase64UrlAlphabet);
    EXPECT_EQ(uuidBase64Value(kTable, 'A'), 0U);
    EXPECT_EQ(uuidBase64Value(kTable, '-'), 62U);
    EXPECT_EQ(uuidBase64Value(kTable, '_'), 63U);
    for (const char character : {'+', '/', '=', '<', ' ', '\x1F', '{', '\x80', '\xFF'}) {
        EXPECT_THROW_TEXT(uuidBase64Value(kTable, character), std::invalid_argument,
                          std::string("invalid character '") + character + "' in UUID");
    }
}

TEST(Base64Length, DoesNotOverflow) {
    EXPECT_EQ(base64Length(0), 0U);
    EXPECT_EQ(base64Length(1), 4U);
    EXPECT_EQ(base64Length(3), 4U);
    EXPECT_EQ(base64Length(4), 8U);
    EXPECT_EQ(base64Length(std::size_t{1} << 30U), 1431655768U);
    EXPECT_EQ(base64Length((std::size_t{1} << 31U) - 1), 2863311532U);
}

}  // namespace
