// SPDX-License-Identifier: MIT
#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <array>
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

/// Per doubling of the text. What is linear stays near 2; what is quadratic is near 4. Time keeps
/// room for caches that become too small and for the pages that the system hands out: a step that
/// comes once, so it is the mean of the doublings that is held against the bound.
constexpr double kMostTime = 3.2;
constexpr double kMostMemory = 2.5;

std::chrono::nanoseconds threadTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// The least of several runs: what disturbs a run only adds to it.
double leastTime(const std::function<void()>& operation) {
    auto least = std::chrono::nanoseconds::max();
    const int runs = helpers::kSlow ? 3 : 7;
    const auto start = threadTime();
    for (int run = 0; run < runs && threadTime() - start < std::chrono::seconds(1); ++run) {
        const auto before = threadTime();
        operation();
        least = std::min(least, threadTime() - before);
    }
    return static_cast<double>(least.count());
}

double memoryOf(const std::function<void()>& operation) {
    const std::size_t before = faults::allocatedBytes();
    operation();
    return static_cast<double>(faults::allocatedBytes() - before);
}

class LinearCost : public ::testing::TestWithParam<limits::TextOperation> {
  protected:
    /// Memory stays with the process: otherwise a block beyond some size costs its pages each time.
    static void SetUpTestSuite() {
        ::mallopt(M_MMAP_THRESHOLD, 1 << 30);
        ::mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    }
};

/// n, 2n, 4n: prints the larger ratio of two neighbours.
TEST_P(LinearCost, TwiceTheTextTakesTwiceTheTimeAndMemory) {
    const limits::TextOperation& row = GetParam();
    double meanTime = std::numeric_limits<double>::max();
    double largerTime = 0;
    double memory = 0;
    const std::size_t smallest = row.smallest >> (helpers::kEmulated ? 3U : 0U);
    // Another process can take the caches away for the whole of one size.
    for (int attempt = 0; attempt < 3 && meanTime > kMostTime; ++attempt) {
        std::array<double, 3> times{};
        double memoryBefore = 0;
        for (std::size_t doubling = 0; doubling < times.size(); ++doubling) {
            const auto operation = row.prepare(smallest << doubling);
            times[doubling] = leastTime(operation);
            const double memoryNow = memoryOf(operation);
            if (doubling != 0) {
                // Small blocks that do not depend on the text do not count.
                memory = std::max(memory, memoryNow / std::max(memoryBefore, 4096.0));
            }
            memoryBefore = memoryNow;
        }
        const double mean = std::sqrt(times[2] / times[0]);
        if (mean < meanTime) {
            meanTime = mean;
            largerTime = std::max(times[1] / times[0], times[2] / times[1]);
        }
    }
    std::printf("%-30s time %.2f  memory %.2f\n", row.name, largerTime, memory);
    EXPECT_LT(meanTime, kMostTime);
    EXPECT_LT(memory, kMostMemory);
}

/// Named in docs/guarantees.md with a limit. That they show also tells that the meter sees.
TEST(Products, TakeFourTimesTheMemoryForTwiceTheText) {
    for (const limits::TextOperation& row : limits::products()) {
        SCOPED_TRACE(row.name);
        const double before = memoryOf(row.prepare(row.smallest * 4));
        const double ratio = memoryOf(row.prepare(row.smallest * 8)) / before;
        std::printf("%-30s memory %.2f\n", row.name, ratio);
        EXPECT_GT(ratio, 3.0);
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
