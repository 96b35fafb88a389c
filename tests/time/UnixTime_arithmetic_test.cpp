// SPDX-License-Identifier: MIT
#include <limits>

#include <gtest/gtest.h>

#include <vorn/common/time/UnixTime.h>

namespace {

using vorn::common::time::SecondsDuration;
using vorn::common::time::UnixTime;

constexpr double kInfinite = 4294967295.0;
constexpr double kHuge = std::numeric_limits<double>::infinity();
constexpr unsigned kEndless = 4294967295U;

struct Row {
    double seconds;
    unsigned duration;
    double expected;
};

template <class Operation, std::size_t N>
void expectResults(const Row (&rows)[N], Operation operation) {
    for (const Row& row : rows) {
        for (const bool precise : {true, false}) {
            auto time = UnixTime::fromSeconds(row.seconds, precise);
            UnixTime& result = operation(time, SecondsDuration(row.duration));
            EXPECT_EQ(&result, &time);
            EXPECT_EQ(time.seconds(), row.expected) << row.seconds << ", " << row.duration;
            EXPECT_EQ(time.highPrecision(), precise);
        }
    }
}

TEST(UnixTimeArithmetic, AdditionSaturatesAtInfinite) {
    constexpr Row kRows[] = {
        {0.0, 0U, 0.0},
        {10.25, 5U, 15.25},
        {4294967293.0, 1U, 4294967294.0},
        {4294967293.75, 1U, 4294967294.75},
        {4294967294.0, 0U, 4294967294.0},
        {4294967294.5, 0U, 4294967294.5},
        {4294967294.0, 1U, kInfinite},
        {0.5, 4294967294U, 4294967294.5},
        {1.0, 4294967294U, kInfinite},
        {0.0, kEndless, kInfinite},
        {1e9, kEndless, kInfinite},
        {-1.0, 5U, -1.0},
        {-0.25, kEndless, -0.25},
        {kInfinite, 5U, kInfinite},
        {1e12, 5U, 1e12},
        {kHuge, 5U, kHuge},
    };
    expectResults(kRows, [](UnixTime& time, SecondsDuration duration) -> UnixTime& {
        return time += duration;
    });
}

// Deliberate: subtraction stops at the epoch.
TEST(UnixTimeArithmetic, SubtractionStopsAtTheEpoch) {
    constexpr Row kRows[] = {
        {10.0, 3U, 7.0},
        {10.0, 0U, 10.0},
        {10.0, 10U, 0.0},
        {10.5, 10U, 0.5},
        {10.0, 11U, 0.0},
        {0.0, 0U, 0.0},
        {4294967294.5, 4294967294U, 0.5},
        {4294967294.0, kEndless, 0.0},
        {-1.0, 5U, -1.0},
        {-7.0, kEndless, -7.0},
        {kInfinite, 5U, kInfinite},
        {kInfinite, kEndless, kInfinite},
        {1e12, 5U, 1e12},
    };
    expectResults(kRows, [](UnixTime& time, SecondsDuration duration) -> UnixTime& {
        return time -= duration;
    });
}

}  // namespace
