// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/sched/Cooldown.h>
#include <vorn/common/sched/CpuLoadIntervalRegulator.h>
#include <vorn/common/sched/CpuLoadRegulator.h>

#include "helpers/expect_throw.h"
#include "helpers/faults/clock.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using namespace vorn::common::sched;

constexpr auto kRatio = "Ratio is out of range";
constexpr auto kRest = "Maximum rest time is out of range";

TEST(CpuLoadRegulator, ChecksItsRangesRatioFirst) {
    for (const int ratio : {std::numeric_limits<int>::min(), -1, 0, 101, 1000}) {
        SCOPED_TRACE(ratio);
        EXPECT_THROW_TEXT(CpuLoadRegulator(ratio, 10), std::out_of_range, kRatio);
        EXPECT_THROW_TEXT(CpuLoadRegulator(ratio, 1001), std::out_of_range, kRatio);
    }
    for (const int rest : {std::numeric_limits<int>::min(), -1, 1001}) {
        SCOPED_TRACE(rest);
        EXPECT_THROW_TEXT(CpuLoadRegulator(10, rest), std::out_of_range, kRest);
    }
    for (const int ratio : {1, 10, 100}) {
        for (const int rest : {0, 1, 1000}) {
            EXPECT_NO_THROW(CpuLoadRegulator(ratio, rest));
        }
    }
    EXPECT_NO_THROW(CpuLoadRegulator());
}

TEST(CpuLoadIntervalRegulator, ChecksItsRangesRatioFirst) {
    for (const unsigned ratio : {0u, 101u, 4294967295u}) {
        SCOPED_TRACE(ratio);
        EXPECT_THROW_TEXT(CpuLoadIntervalRegulator(ratio, 10ms), std::out_of_range, kRatio);
        EXPECT_THROW_TEXT(CpuLoadIntervalRegulator(ratio, 10001ms), std::out_of_range, kRatio);
    }
    EXPECT_THROW_TEXT(CpuLoadIntervalRegulator(10, 10001ms), std::out_of_range, kRest);
    EXPECT_THROW_TEXT(CpuLoadIntervalRegulator(10, milliseconds::max()), std::out_of_range, kRest);
    for (const auto interval : {0ms, 1ms, 10000ms}) {
        EXPECT_NO_THROW(CpuLoadIntervalRegulator(10, interval));
    }
}

TEST(CpuLoadIntervalRegulator, DeliberatelyAcceptsANegativeInterval) {
    EXPECT_NO_THROW(CpuLoadIntervalRegulator(10, -1ms));
    CpuLoadIntervalRegulator regulator(10, milliseconds::min());
    const auto before = getProcessCpuTimeUs();
    while (getProcessCpuTimeUs() < before + 30'000) {
    }
    regulator.getSomeRest();
}

TEST(Cooldown, PassesItsArgumentsToTheRegulator) {
    EXPECT_THROW_TEXT(CpuLoadCooldown(0, 10), std::out_of_range, kRatio);
    EXPECT_THROW_TEXT(CpuLoadCooldown(101, 10), std::out_of_range, kRatio);
    EXPECT_THROW_TEXT(CpuLoadCooldown(2147483648u, 10), std::out_of_range, kRatio);
    EXPECT_THROW_TEXT(CpuLoadCooldown(4294967295u, 10), std::out_of_range, kRatio);
    EXPECT_THROW_TEXT(CpuLoadCooldown(10, 1001), std::out_of_range, kRest);
    EXPECT_THROW_TEXT(CpuLoadCooldown(10, 4294967295u), std::out_of_range, kRest);
    EXPECT_NO_THROW(CpuLoadCooldown(100, 1000));
    EXPECT_THROW_TEXT(CpuLoadLoopCooldown(0, 10ms), std::out_of_range, kRatio);
    EXPECT_THROW_TEXT(CpuLoadLoopCooldown(10, 10001ms), std::out_of_range, kRest);
    EXPECT_NO_THROW(CpuLoadLoopCooldown(100, 10000ms));
    static_assert(std::is_abstract_v<Cooldown> && std::has_virtual_destructor_v<Cooldown>);
}

void letTheWallClockPass(milliseconds duration) {
    const auto start = std::chrono::system_clock::now();
    while (std::chrono::system_clock::now() - start < duration) {
    }
}

using Sleeps = std::vector<std::chrono::nanoseconds>;

TEST(CpuLoadRegulator, AllowsTenPercentAndRestsOfASecondByDefault) {
    faults::CpuClock cpu;
    CpuLoadRegulator regulator;
    cpu.advance(100s);
    letTheWallClockPass(2ms);
    regulator.getSomeRest();
    EXPECT_EQ(cpu.takeSleeps(), Sleeps{1000ms});

    // 90 ms are worth 900 ms, less the time that has passed; on a busy machine that may be much.
    Sleeps sleeps;
    for (int attempt = 0; attempt < 100 && (sleeps.empty() || sleeps[0] < 840ms); ++attempt) {
        regulator.reset();
        cpu.advance(90ms);
        letTheWallClockPass(2ms);
        regulator.getSomeRest();
        sleeps = cpu.takeSleeps();
    }
    ASSERT_EQ(sleeps.size(), 1u);
    EXPECT_GE(sleeps[0], 840ms);
    EXPECT_LT(sleeps[0], 900ms);
}

TEST(Cooldown, GivesTheRegulatorItsMaximumRestAndInterval) {
    faults::CpuClock cpu;
    CpuLoadCooldown bounded(50, 123);
    CpuLoadLoopCooldown interval(50, 1ms);
    cpu.advance(100s);
    letTheWallClockPass(2ms);
    interval.cooldown();
    EXPECT_EQ(cpu.takeSleeps(), Sleeps());
    bounded.cooldown();
    EXPECT_EQ(cpu.takeSleeps(), Sleeps{123ms});
}

/// Keeps one core busy until the process has used so much more CPU time.
void burn(milliseconds cpuTime) {
    const auto end = getProcessCpuTimeUs() + cpuTime.count() * 1000;
    while (getProcessCpuTimeUs() < end) {
    }
}

TEST(Cooldown, RestsAfterTooMuchCpuTimeUnlessReset) {
    struct Row {
        const char* name;
        std::function<std::unique_ptr<Cooldown>()> make;
    };
    const Row rows[] = {
        {"bounded", [] { return std::make_unique<CpuLoadCooldown>(1, 1000); }},
        {"interval", [] { return std::make_unique<CpuLoadLoopCooldown>(1, 10000ms); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto made = std::chrono::steady_clock::now();
        const auto cooldown = row.make();
        burn(20ms);
        const auto start = std::chrono::steady_clock::now();
        cooldown->cooldown();
        // What is missing of the two seconds that 20 ms are worth; a second at the most.
        const std::chrono::nanoseconds due =
            std::min<std::chrono::nanoseconds>(1000ms, 2000ms - (start - made));
        EXPECT_GE(std::chrono::steady_clock::now() - start, due - 10ms);
        // A tick of the processor's clock right behind the reset is worth a second.
        bool rests = true;
        for (int attempt = 0; attempt < 5 && rests; ++attempt) {
            burn(20ms);
            cooldown->reset();
            const auto again = std::chrono::steady_clock::now();
            cooldown->cooldown();
            rests = std::chrono::steady_clock::now() - again >= 900ms;
        }
        EXPECT_FALSE(rests);
    }
}

/// Percents of one core, and of the time.
struct Share {
    double cpu = 0;
    double awake = 0;  ///< what is left beside the rests; on a busy machine more than it works
};

/// That of a loop that works without a pause for two seconds.
Share shareOf(const std::function<void()>& rest) {
    std::chrono::duration<double, std::micro> rested{};
    const auto start = std::chrono::steady_clock::now();
    const auto cpuStart = getProcessCpuTimeUs();
    while (std::chrono::steady_clock::now() - start < 2s) {
        const auto work = std::chrono::steady_clock::now() + 1ms;
        while (std::chrono::steady_clock::now() < work) {
        }
        const auto resting = std::chrono::steady_clock::now();
        rest();
        rested += std::chrono::steady_clock::now() - resting;
    }
    const std::chrono::duration<double, std::micro> wall = std::chrono::steady_clock::now() - start;
    const auto cpuUs = static_cast<double>(getProcessCpuTimeUs() - cpuStart);
    return {cpuUs / wall.count() * 100, (1 - rested / wall) * 100};
}

TEST(CpuLoadRegulator, HoldsASpinningLoopNearItsShare) {
    struct Row {
        const char* name;
        std::function<Share()> share;
    };
    const Row rows[] = {
        {"bounded",
         [] {
             CpuLoadRegulator regulator(25, 1000);
             return shareOf([&] { regulator.getSomeRest(); });
         }},
        {"interval",
         [] {
             CpuLoadIntervalRegulator regulator(25, 500ms);
             return shareOf([&] { regulator.getSomeRest(); });
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        // What disturbs a measurement disturbs not all of them.
        Share share;
        for (int attempt = 0; attempt < 5 && (share.awake < 15 || share.cpu > 35); ++attempt) {
            share = row.share();
        }
        EXPECT_GE(share.awake, 15);
        EXPECT_LE(share.cpu, 35);
    }
}

}  // namespace
