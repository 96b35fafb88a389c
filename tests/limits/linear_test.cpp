// SPDX-License-Identifier: MIT
#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/faults/allocation.h"
#include "textOperations.h"

namespace {

/// Per doubling of the text.
constexpr double kMost = 2.5;

/// Three doublings at once: a cache that becomes too small makes one of them dearer, not all.
constexpr unsigned kDoublings = 3;
constexpr double kMostTime = kMost * kMost * kMost;

double timeOf(const std::function<void()>& operation) {
    const auto now = [] {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    };
    const auto before = now();
    operation();
    return static_cast<double>((now() - before).count());
}

/// How much longer a text of eight times the length takes, by the least time of each: what disturbs
/// a run only adds to it. The runs take turns, so that whoever disturbs does it to both. Ends when
/// the ratio is below the bound, but not before the small one had its chances.
double timeRatio(const std::function<void()>& small, const std::function<void()>& large) {
    constexpr int kRounds = 30;
    constexpr int kLeastRounds = 3;
    constexpr int kSmallRuns = 4;
    constexpr double kEnough = 10e9;  // of what is far from linear
    double leastSmall = std::numeric_limits<double>::max();
    double leastLarge = std::numeric_limits<double>::max();
    double spent = 0;
    for (int round = 0;
         round < kRounds &&
         (round < kLeastRounds || (spent < kEnough && leastLarge >= kMostTime * leastSmall));
         ++round) {
        for (int run = 0; run < kSmallRuns; ++run) {
            leastSmall = std::min(leastSmall, timeOf(small));
        }
        const double time = timeOf(large);
        spent += time;
        leastLarge = std::min(leastLarge, time);
    }
    return leastLarge / leastSmall;
}

struct Memory {
    double bytes;
    double blocks;
};

/// The same at every run.
Memory memoryOf(const std::function<void()>& operation) {
    const std::size_t bytes = faults::allocatedBytes();
    const std::size_t blocks = faults::allocations();
    operation();
    return {static_cast<double>(faults::allocatedBytes() - bytes),
            static_cast<double>(faults::allocations() - blocks)};
}

std::size_t smallestOf(const limits::TextOperation& row) {
    return row.smallest >> (helpers::kEmulated ? 3U : 0U);
}

double perDoubling(double ratio) {
    return std::pow(ratio, 1.0 / kDoublings);
}

class LinearCost : public ::testing::TestWithParam<limits::TextOperation> {
  protected:
    /// Memory stays with the process: otherwise a block beyond some size costs its pages each time.
    static void SetUpTestSuite() {
        ::mallopt(M_MMAP_THRESHOLD, 1 << 30);
        ::mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    }
};

TEST_P(LinearCost, TwiceTheTextTakesTwiceTheTimeAndMemory) {
    const limits::TextOperation& row = GetParam();
    const std::size_t smallest = smallestOf(row);
    // What does not depend on the text does not count.
    Memory before{4096, 32};
    Memory largest{0, 0};
    for (unsigned doubling = 0; doubling <= kDoublings; ++doubling) {
        const Memory now = memoryOf(row.prepare(smallest << doubling));
        if (doubling != 0) {
            largest.bytes = std::max(largest.bytes, now.bytes / before.bytes);
            largest.blocks = std::max(largest.blocks, now.blocks / before.blocks);
        }
        before = {std::max(now.bytes, before.bytes), std::max(now.blocks, before.blocks)};
    }
    const double time = timeRatio(row.prepare(smallest), row.prepare(smallest << kDoublings));
    std::printf("%-30s time %.2f  bytes %.2f  blocks %.2f\n", row.name, perDoubling(time),
                largest.bytes, largest.blocks);
    EXPECT_LT(perDoubling(time), kMost);
    EXPECT_LT(largest.bytes, kMost);
    EXPECT_LT(largest.blocks, kMost);
}

/// Far less than a product: what grows by 2.8 where 2.5 is allowed.
TEST(LinearMeter, SeesThePowerOfOneAndAHalf) {
    const auto work = [](std::size_t bytes) {
        return [steps = static_cast<std::size_t>(std::pow(static_cast<double>(bytes), 1.5))] {
            volatile std::size_t sum = 0;
            for (std::size_t step = 0; step < steps; ++step) {
                sum = sum + step;
            }
        };
    };
    constexpr std::size_t kSmallest = 1U << 11U;
    EXPECT_GT(perDoubling(timeRatio(work(kSmallest), work(kSmallest << kDoublings))), kMost);
}

/// Named in docs/guarantees.md with a limit. That they show also tells that the meter sees.
TEST(Products, TakeFourTimesTheMemoryForTwiceTheText) {
    for (const limits::TextOperation& row : limits::products()) {
        SCOPED_TRACE(row.name);
        const double before = memoryOf(row.prepare(row.smallest * 4)).bytes;
        const double ratio = memoryOf(row.prepare(row.smallest * 8)).bytes / before;
        std::printf("%-30s memory %.2f\n", row.name, ratio);
        EXPECT_GT(ratio, 3.0);
        EXPECT_LT(ratio, 5.0);
    }
}

/// Named there too. Prints what a text of the recommended greatest length takes.
TEST(Products, TakeMoreThanTwiceTheTimeForTwiceTheText) {
    for (const limits::TextOperation& row : limits::productsOfTime()) {
        SCOPED_TRACE(row.name);
        const auto large = row.prepare(row.smallest << kDoublings);
        const double ratio = perDoubling(timeRatio(row.prepare(row.smallest), large));
        std::printf("%-30s time %.2f, %.2f ms at the limit\n", row.name, ratio,
                    timeOf(large) / 1e6);
        EXPECT_GT(ratio, kMost);
        EXPECT_LT(ratio, 5.0);
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, LinearCost, ::testing::ValuesIn(limits::textOperations()),
                         [](const auto& row) {
                             std::string name = row.param.name;
                             for (char& character : name) {
                                 character = character == ' ' ? '_' : character;
                             }
                             return name;
                         });

}  // namespace
