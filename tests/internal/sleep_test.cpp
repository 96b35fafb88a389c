// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/time.h>
#include <time.h>

#include <cerrno>
#include <chrono>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/faults/calls.h"
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

/// What is asked of the system, which sleeps for none of it.
std::vector<std::chrono::seconds> asked(std::chrono::nanoseconds duration) {
    std::vector<std::chrono::seconds> slices;
    faults::Calls calls;
    calls.hook(faults::Call::nanosleep, [&slices](auto& call) {
        slices.emplace_back(static_cast<const timespec*>(call.data)->tv_sec);
        call.answer = 0;
        return 0;
    });
    sleepFor(duration);
    return slices;
}

TEST(SleepFor, SleepsInSlicesOfADay) {
    EXPECT_EQ(asked(49h), (std::vector<std::chrono::seconds>{24h, 24h, 1h}));
    EXPECT_EQ(asked(24h), std::vector<std::chrono::seconds>{24h});
}

TEST(SleepFor, EndsWhenTheSystemRefusesToSleep) {
    faults::Calls calls;
    calls.fail(faults::Call::nanosleep, EFAULT);
    sleepFor(1h);
    EXPECT_EQ(calls.count(faults::Call::nanosleep), 1);
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
