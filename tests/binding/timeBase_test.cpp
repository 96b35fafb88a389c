// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "timeBase.h"

namespace {

using vorn::common::internal::changeTimeBase;

constexpr std::uint32_t kTop = 0xFFFFFFFFu;

struct Row {
    std::uint32_t timestamp;
    std::uint32_t from;
    std::uint32_t to;
    std::uint32_t result;
};

constexpr Row kRows[] = {
    {0, 0, 0, 0},
    {1, 0, 0, 1},
    {100, 1000, 1000, 100},
    {100, 1000, 1500, 600},
    {1500, 1000, 200, 700},
    // Not greater than the clock that is left: 0.
    {0, 10, 10, 0},
    {1, 10, 10, 1},
    {0, 10, 9, 0},
    {5, 10, 4, 0},
    {5, 10, 5, 0},
    {5, 10, 6, 1},
    // The reserved mark stays, whatever the clocks show.
    {kTop, 0, 0, kTop},
    {kTop, 1, 0, kTop},
    {kTop, 0, 1, kTop},
    {kTop, kTop, kTop, kTop},
    // The value below it is an ordinary time.
    {kTop - 1, 0, 0, kTop - 1},
    {kTop - 1, 1, 0, kTop - 2},
    {kTop - 1, 1, 1, kTop - 1},
    {kTop - 1, kTop - 1, 0, 0},
    {kTop - 1, kTop - 2, 0, 1},
    // A sum may be the reserved mark, and so may a result.
    {kTop - 1, 0, 1, kTop},
    {0, 0, kTop, kTop},
    {1, 1, kTop - 1, kTop - 1},
    // Sums wrap around.
    {kTop - 1, 0, 2, 0},
    {kTop - 1, 0, 3, 1},
    {kTop - 1, 1, 3, 0},
    {1, 0, kTop, 0},
    {2, 0, kTop, 1},
    {0x80000000u, 0, 0x80000000u, 0},
    {0x80000000u, 5, 0x80000010u, 0x0Bu},
    {0x80000000u, 0x10u, 0x80000010u, 0},
    {1000, kTop, kTop - 10, 0},
    {5, kTop, kTop - 10, 0},
};

TEST(TimeBase, ConvertsAroundEveryBoundary) {
    for (const auto& row : kRows) {
        EXPECT_EQ(changeTimeBase(row.timestamp, row.from, row.to), row.result)
            << row.timestamp << " from " << row.from << " to " << row.to;
    }
}

TEST(TimeBase, FollowsTheFormulaForAllCombinationsOfBoundaryValues) {
    constexpr std::uint32_t kValues[] = {0,           1,        2,        0x7FFFFFFFu, 0x80000000u,
                                         0x80000001u, kTop - 2, kTop - 1, kTop};
    for (const auto timestamp : kValues) {
        for (const auto from : kValues) {
            for (const auto to : kValues) {
                const std::uint64_t sum = (std::uint64_t{timestamp} + to) % 0x100000000u;
                const std::uint64_t expected = timestamp == kTop ? kTop
                                               : sum > from      ? sum - from
                                                                 : 0;
                EXPECT_EQ(changeTimeBase(timestamp, from, to), expected)
                    << timestamp << " from " << from << " to " << to;
            }
        }
    }
}

}  // namespace
