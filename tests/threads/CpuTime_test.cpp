// SPDX-License-Identifier: MIT
#include <cerrno>

#include <gtest/gtest.h>

#include <vorn/common/sched/CpuTime.h>

#include "sched/CpuTimeReader.h"

namespace {

using vorn::common::internal::CpuTimeReader;

constexpr auto kTimesFailed =
    "Failed to get process cpu time: Failed to retrieve the current process times structure\n";
constexpr auto kTicksFailed =
    "Failed to get process cpu time: Failed to retrieve number of clock ticks per seconds\n";

tms nextTimes;
clock_t nextResult;
int nextErrno;
long nextTicks;
int ticksReadings;

clock_t times(tms* out) {
    *out = nextTimes;
    if (nextErrno != 0) {
        errno = nextErrno;
    }
    return nextResult;
}

long ticksPerSecond() {
    ++ticksReadings;
    return nextTicks;
}

class CpuTime : public testing::Test {
  protected:
    CpuTime() {
        nextTimes = {1, 20, 300, 4000};
        nextResult = 12345;
        nextErrno = 0;
        nextTicks = 100;
        ticksReadings = 0;
    }

    /// Reads, and expects that on the standard error stream.
    std::int64_t read(const std::string& report = "") {
        testing::internal::CaptureStderr();
        const auto value = reader_.read();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), report);
        return value;
    }

  private:
    CpuTimeReader reader_{&times, &ticksPerSecond};
};

TEST_F(CpuTime, SumsAllFourTimesInMicroseconds) {
    EXPECT_EQ(read(), 43'210'000);
}

TEST_F(CpuTime, DividesFirst) {
    nextTicks = 300;
    EXPECT_EQ(read(), 4321 * 3333);
    nextTimes = {};
    EXPECT_EQ(read(), 0);
}

TEST_F(CpuTime, TakesMinusOneForAnOrdinaryResult) {
    nextResult = static_cast<clock_t>(-1);
    errno = ERANGE;
    EXPECT_EQ(read(), 43'210'000);
    EXPECT_EQ(errno, ERANGE);
}

TEST_F(CpuTime, ReportsFailedTimes) {
    nextResult = static_cast<clock_t>(-1);
    nextErrno = EFAULT;
    EXPECT_EQ(read(kTimesFailed), 0);
    EXPECT_EQ(read(kTimesFailed), 0);
    nextErrno = 0;
    EXPECT_EQ(read(), 43'210'000);
}

TEST_F(CpuTime, ReadsTheTickRateOnce) {
    EXPECT_EQ(read(), 43'210'000);
    nextTicks = 1000;
    EXPECT_EQ(read(), 43'210'000);
    EXPECT_EQ(ticksReadings, 1);
}

TEST_F(CpuTime, ReadsATickRateBelowOneAgain) {
    for (const long ticks : {0L, -1L}) {
        nextTicks = ticks;
        EXPECT_EQ(read(kTicksFailed), 0);
    }
    nextTicks = 100;
    EXPECT_EQ(read(), 43'210'000);
    EXPECT_EQ(ticksReadings, 3);
}

TEST_F(CpuTime, CountsBeyondTheSignBitOfTheCounter) {
    nextTimes = {};
    nextTimes.tms_utime = static_cast<clock_t>(0x7FFFFFFF);
    nextTimes.tms_stime = 1;
    EXPECT_EQ(read(), 0x80000000LL * 10'000);
    if (sizeof(clock_t) == 4) {
        nextTimes.tms_utime = static_cast<clock_t>(0xFFFFFFFFu);
        EXPECT_EQ(read(), 0x100000000LL * 10'000);
    }
}

TEST_F(CpuTime, OfThisProcessGrowsWhileItWorks) {
    const auto before = vorn::common::sched::getProcessCpuTimeUs();
    EXPECT_GE(before, 0);
    while (vorn::common::sched::getProcessCpuTimeUs() < before + 50'000) {
    }
}

}  // namespace
