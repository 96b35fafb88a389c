// SPDX-License-Identifier: MIT
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "sched/CpuLoad.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using vorn::common::internal::LoadMeter;
using vorn::common::internal::restBounded;
using vorn::common::internal::restWithinInterval;
using vorn::common::sched::LoadSample;

constexpr std::int64_t kStart = 1'700'000'000'000;

/// Clocks that stand still except while sleeping.
class FakeMeter final : public LoadMeter {
  public:
    FakeMeter(std::int64_t cpu, std::int64_t wall) : cpuUs(cpu * 1000), now(milliseconds(wall)) {}

    std::int64_t cpuTimeUs() override { return cpuUs; }
    std::chrono::system_clock::time_point wallNow() override {
        return std::chrono::system_clock::time_point(now);
    }
    void sleep(std::chrono::nanoseconds duration) override {
        sleeps.push_back(duration);
        now += duration + afterSleep;
        afterSleep = 0ns;
        cpuUs += 1000;
    }

    std::int64_t cpuUs;
    std::chrono::nanoseconds now;
    std::chrono::nanoseconds afterSleep = 0ns;  // a change of the clock during the next sleep
    std::vector<std::chrono::nanoseconds> sleeps;
};

struct Row {
    const char* name;
    std::int64_t ratio;
    std::int64_t bound;
    std::int64_t cpu;
    std::int64_t wall;  // both since the last sample
    std::int64_t rest;  // -1: returns early, the sample stays
};

class Rests : public testing::Test {
  protected:
    template <class Rest>
    void check(const std::vector<Row>& rows, Rest rest) {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.name);
            LoadSample last{1000, kStart};
            FakeMeter meter(1000 + row.cpu, kStart + row.wall);
            rest(meter, last, row);
            if (row.rest == -1) {
                EXPECT_TRUE(meter.sleeps.empty());
                EXPECT_EQ(last.cpuMs, 1000);
                EXPECT_EQ(last.wallMs, kStart);
                continue;
            }
            if (row.rest == 0) {
                EXPECT_TRUE(meter.sleeps.empty());
            } else {
                EXPECT_EQ(meter.sleeps,
                          std::vector<std::chrono::nanoseconds>{milliseconds(row.rest)});
            }
            EXPECT_EQ(last.cpuMs, meter.cpuUs / 1000);
            EXPECT_EQ(last.wallMs, kStart + row.wall + row.rest);
        }
    }
};

TEST_F(Rests, OfTheBoundedRegulator) {
    check(
        {
            {"CPU time unreadable", 10, 1000, -1000, 50, -1},
            {"no time passed", 10, 1000, 50, 0, -1},
            {"clock set back", 10, 1000, 50, -3'600'000, -1},
            {"idle", 10, 1000, 0, 500, -1},
            {"exactly the share", 10, 1000, 10, 100, -1},
            {"just above the share", 10, 1000, 11, 100, 10},
            {"full load, 111 ms", 10, 1000, 111, 111, 999},
            {"full load, 112 ms", 10, 1000, 112, 112, 1000},
            {"full load, bounded", 10, 30, 112, 112, 30},
            {"half load rests as long as it ran", 50, 1000, 70, 70, 70},
            {"rounds toward zero", 30, 1000, 31, 100, 3},
            {"exactly a millisecond", 50, 1000, 51, 101, 1},
            {"less than a millisecond", 99, 1000, 100, 101, 0},
            {"needed rounds to the time passed", 97, 1000, 98, 101, 0},
            {"no rest allowed", 10, 0, 100, 100, 0},
            {"more than one core", 100, 1000, 200, 100, 100},
            {"whole core", 100, 1000, 100, 100, -1},
            {"a long window", 1, 1000, 4'000'000'000, 8'000'000'000, 1000},
        },
        [](FakeMeter& meter, LoadSample& last, const Row& row) {
            restBounded(meter, last, row.ratio, row.bound);
        });
}

TEST_F(Rests, OfTheIntervalRegulator) {
    check(
        {
            {"CPU time unreadable", 10, 1000, -1000, 50, -1},
            {"no time passed", 10, 1000, 50, 0, -1},
            {"clock set back", 10, 1000, 50, -3'600'000, -1},
            {"exactly the share", 10, 1000, 10, 100, -1},
            {"until the share is reached", 10, 10000, 50, 100, 400},
            {"until the interval ends", 10, 300, 50, 100, 200},
            {"interval and share end together", 10, 500, 50, 100, 400},
            {"interval over", 10, 100, 50, 100, 0},
            {"interval long over", 10, 20, 50, 100, 0},
            {"no interval", 10, 0, 50, 100, 0},
            {"negative interval", 10, -5, 50, 100, 0},
            {"least interval", 10, std::numeric_limits<std::int64_t>::min(), 50, 100, 0},
            {"a long window", 1, 10000, 4'000'000'000, 8'000'000'000, 0},
        },
        [](FakeMeter& meter, LoadSample& last, const Row& row) {
            restWithinInterval(meter, last, row.ratio, milliseconds(row.bound));
        });
}

TEST(CpuLoad, KeepsTheWindowGrowingWhileTheShareIsAllowed) {
    LoadSample last{1000, kStart};
    FakeMeter meter(1000, kStart + 900);
    restBounded(meter, last, 10, 1000);
    meter.cpuUs += 100'000;
    meter.now += 100ms;
    restBounded(meter, last, 10, 1000);
    EXPECT_TRUE(meter.sleeps.empty());
    meter.cpuUs += 10'000;
    meter.now += 10ms;
    restBounded(meter, last, 10, 1000);
    EXPECT_EQ(meter.sleeps, std::vector<std::chrono::nanoseconds>{90ms});
}

TEST(CpuLoad, DeliberatelyProlongsARestDuringWhichTheClockIsSetBack) {
    LoadSample last{1000, kStart};
    FakeMeter meter(1050, kStart + 100);
    meter.afterSleep = -1h;
    restWithinInterval(meter, last, 10, 10s);
    EXPECT_EQ(meter.sleeps, (std::vector<std::chrono::nanoseconds>{400ms, 1h}));
    EXPECT_EQ(last.wallMs, kStart + 500);
}

TEST(CpuLoad, SleepsUntilTheInstantNotTheMillisecond) {
    LoadSample last{1000, kStart};
    FakeMeter meter(1050, kStart + 100);
    meter.now += 250us;
    restWithinInterval(meter, last, 10, 10s);
    EXPECT_EQ(meter.sleeps, std::vector<std::chrono::nanoseconds>{399'750us});
}

TEST(CpuLoad, SamplesHoldZerosUntilTheyAreTaken) {
    EXPECT_EQ(LoadSample().cpuMs, 0);
    EXPECT_EQ(LoadSample().wallMs, 0);
}

TEST(CpuLoad, SamplesWholeMilliseconds) {
    FakeMeter meter(0, kStart);
    meter.cpuUs = 1'999;
    meter.now += 999'999ns;
    const auto sample = meter.sample();
    EXPECT_EQ(sample.cpuMs, 1);
    EXPECT_EQ(sample.wallMs, kStart);
}

}  // namespace
