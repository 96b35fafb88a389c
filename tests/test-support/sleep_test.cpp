// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/time.h>

#include <chrono>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/test/helpers.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

volatile sig_atomic_t signals = 0;

TEST(Sleep, ReturnsAtOnceForZero) {
    const auto start = Clock::now();
    for (int round = 0; round < 1000; ++round) {
        vorn::common::test::sleep(0);
    }
    EXPECT_LT(Clock::now() - start, 10s);
}

TEST(Sleep, TakesMilliseconds) {
    const auto start = Clock::now();
    vorn::common::test::sleep(30);
    EXPECT_GE(Clock::now() - start, 30ms);
    EXPECT_LT(Clock::now() - start, 20s);
}

TEST(Sleep, GoesOnAfterSignals) {
    struct sigaction count {};
    count.sa_handler = [](int) { signals = signals + 1; };
    struct sigaction before {};
    ASSERT_EQ(::sigaction(SIGALRM, &count, &before), 0);
    const itimerval every5ms{{0, 5000}, {0, 5000}};
    ASSERT_EQ(::setitimer(ITIMER_REAL, &every5ms, nullptr), 0);
    const auto start = Clock::now();
    vorn::common::test::sleep(80);
    const auto slept = Clock::now() - start;
    const itimerval off{};
    ::setitimer(ITIMER_REAL, &off, nullptr);
    ::sigaction(SIGALRM, &before, nullptr);
    EXPECT_GE(slept, 80ms);
    EXPECT_GE(signals, 1);
}

}  // namespace
