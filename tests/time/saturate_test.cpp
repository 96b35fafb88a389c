// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "internal/saturate.h"

namespace {

using namespace vorn::common::internal;
using Limits = std::numeric_limits<std::int64_t>;

TEST(Saturate, StaysAtTheEndsOfTheRange) {
    struct Row {
        std::int64_t a, b, sum, difference, product;
    };
    for (const auto& row : {
             Row{2, 3, 5, -1, 6},
             Row{-2, 3, 1, -5, -6},
             Row{Limits::max(), 1, Limits::max(), Limits::max() - 1, Limits::max()},
             Row{Limits::max(), -1, Limits::max() - 1, Limits::max(), -Limits::max()},
             Row{Limits::min(), 1, Limits::min() + 1, Limits::min(), Limits::min()},
             Row{Limits::min(), -1, Limits::min(), Limits::min() + 1, Limits::max()},
             Row{Limits::max(), 2, Limits::max(), Limits::max() - 2, Limits::max()},
             Row{Limits::max(), -2, Limits::max() - 2, Limits::max(), Limits::min()},
             Row{Limits::min(), Limits::min(), Limits::min(), 0, Limits::max()},
             Row{Limits::max(), Limits::min(), -1, Limits::max(), Limits::min()},
         }) {
        SCOPED_TRACE(testing::Message() << row.a << ", " << row.b);
        EXPECT_EQ(saturatingAdd(row.a, row.b), row.sum);
        EXPECT_EQ(saturatingSubtract(row.a, row.b), row.difference);
        EXPECT_EQ(saturatingMultiply(row.a, row.b), row.product);
    }
    EXPECT_EQ(saturatingNanoseconds(std::chrono::milliseconds::max()),
              std::chrono::nanoseconds::max());
    EXPECT_EQ(saturatingNanoseconds(std::chrono::milliseconds(-5)),
              std::chrono::nanoseconds(-5'000'000));
}

}  // namespace
