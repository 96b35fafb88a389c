// SPDX-License-Identifier: MIT
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include "helpers/expect_throw.h"
#include "posix/readToEnd.h"

namespace {

using vorn::common::internal::lengthAfterAppending;

TEST(ReadToEnd, LengthsThatWrapAreRefused) {
    constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(lengthAfterAppending(0, 0), 0u);
    EXPECT_EQ(lengthAfterAppending(kMax - 5, 5), kMax);
    for (const std::size_t added : {std::size_t{1}, std::size_t{65536}, kMax}) {
        EXPECT_THROW_TEXT(lengthAfterAppending(kMax, added), std::overflow_error,
                          "reading from pipe caused overflow");
    }
}

TEST(ReadToEnd, AnErrorEndsTheText) {
    EXPECT_EQ(vorn::common::internal::readToEnd(-1), "");
}

}  // namespace
