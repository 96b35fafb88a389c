// SPDX-License-Identifier: MIT

// The machine's own clock is moved, which only a machine that runs nothing else lets anybody do:
// the target's kernel under the tests. The classes alone, with a made-up clock:
// ClockJumps_test.cpp.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>

#include <gtest/gtest.h>

#include <vorn/common/sched/CpuLoadIntervalRegulator.h>
#include <vorn/common/time/ClockAlignedTimer.h>
#include <vorn/common/time/Timer.h>
#include <vorn/common/time/UnixTime.h>

#include "helpers/wait_until.h"
#include "helpers/wallClock.h"

namespace vorn::common::time {
namespace {

using namespace std::chrono_literals;
using helpers::kIn2040;
using helpers::kIn2106;
using helpers::MovedWallClock;
using helpers::waitUntil;

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kYear = 365 * 24 * kHour;
/// How long a test may take between setting the clock and looking at it.
constexpr std::int64_t kPatience = 300;

class WallClock : public testing::Test {
  protected:
    void SetUp() override {
        if (!helpers::ownsWallClock()) {
            GTEST_SKIP() << "the clock of this machine is not the tests' own";
        }
    }
};

bool isAbout(double time, double expected) {
    return time >= expected && time <= expected + static_cast<double>(kPatience);
}

TEST_F(WallClock, TimesAreRightBehind2038) {
    for (const std::int64_t instant : {std::int64_t{1'700'000'000}, std::int64_t{2'147'483'648},
                                       kIn2040, kIn2106 - 2 * kPatience}) {
        SCOPED_TRACE(instant);
        const MovedWallClock clock(instant);
        EXPECT_TRUE(isAbout(UnixTime::now().toIntegralType(), static_cast<double>(instant)));
        EXPECT_TRUE(
            isAbout(UnixTime::nowWithHighPrecision().seconds(), static_cast<double>(instant)));
    }
}

TEST_F(WallClock, TheCountStartsAgainIn2106) {
    const MovedWallClock clock(kIn2106 + 5);
    EXPECT_TRUE(isAbout(UnixTime::now().toIntegralType(), 5));
    EXPECT_TRUE(UnixTime::nowWithHighPrecision().isInfinite());
}

TEST_F(WallClock, TimersGoOnWhateverTheClockDoes) {
    const std::int64_t start = 1'700'000'000;
    const MovedWallClock clock(start);
    std::atomic<std::int64_t> boundary = 0;  // in milliseconds
    ClockAlignedTimer aligned(
        [&](ClockAlignedTimer::TimePoint instant) {
            boundary =
                std::chrono::duration_cast<std::chrono::milliseconds>(instant.time_since_epoch())
                    .count();
        },
        50ms);
    aligned.start();
    std::int64_t before = start;
    for (const std::int64_t instant :
         {start + 1, start + kHour, start, start + 10 * kYear, start - kHour,
          std::int64_t{2'147'483'647}, kIn2040, kIn2106, kIn2106 + kYear, start}) {
        SCOPED_TRACE(instant);
        MovedWallClock::set(instant);
        if (instant < before) {
            // Else it waits until the clock is there again.
            std::unique_lock lock(aligned.mutex());
            aligned.reload(lock);
        }
        before = instant;
        // A boundary of the new clock comes as soon as one of the old clock would have.
        EXPECT_TRUE(waitUntil([&] {
            const std::int64_t now = boundary / 1000;
            return now >= instant && now <= instant + kPatience && boundary % 50 == 0;
        })) << boundary;
        std::atomic<bool> called = false;
        Timer timer([&] { called = true; }, 20ms, Recurrence::OneShot);
        timer.start();
        EXPECT_TRUE(waitUntil([&] { return called.load(); }));
    }
    aligned.terminate();
}

TEST_F(WallClock, ARestEndsWhateverTheClockDoes) {
    for (const std::int64_t instant : {kIn2040, kIn2106, std::int64_t{1'700'000'000}}) {
        SCOPED_TRACE(instant);
        const MovedWallClock clock(instant);
        sched::CpuLoadIntervalRegulator regulator(50, 100ms);
        regulator.reset();
        const auto begin = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() < begin + 30ms) {
        }
        regulator.getSomeRest();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
    }
}

}  // namespace
}  // namespace vorn::common::time
