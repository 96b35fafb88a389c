// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/time.h>

#include <gtest/gtest.h>

#include "posix/sleep.h"

namespace {

using namespace std::chrono_literals;
using vorn::common::internal::sleepFor;

TEST(SleepFor, ReturnsAtOnceForNothing) {
    const auto start = std::chrono::steady_clock::now();
    sleepFor(0ns);
    sleepFor(-5s);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
}

TEST(SleepFor, GoesOnAfterSignals) {
    struct sigaction ignore {};
    ignore.sa_handler = [](int) {};
    struct sigaction before {};
    ASSERT_EQ(::sigaction(SIGALRM, &ignore, &before), 0);
    itimerval every5ms{{0, 5000}, {0, 5000}};
    ASSERT_EQ(::setitimer(ITIMER_REAL, &every5ms, nullptr), 0);
    const auto start = std::chrono::steady_clock::now();
    sleepFor(60ms);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 60ms);
    itimerval off{};
    ::setitimer(ITIMER_REAL, &off, nullptr);
    ::sigaction(SIGALRM, &before, nullptr);
}

}  // namespace
