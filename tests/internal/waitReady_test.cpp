// SPDX-License-Identifier: MIT
#include <cerrno>

#include <gtest/gtest.h>

#include "helpers/faults/calls.h"
#include "internal/waitReady.h"

namespace {

using faults::Call;
using namespace vorn::common::internal;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(WaitReady, DeadlinesSaturate) {
    const auto past = saturatingDeadline(std::chrono::milliseconds::min());
    EXPECT_LE(past, Clock::now());
    EXPECT_EQ(saturatingDeadline(std::chrono::milliseconds::max()), Clock::time_point::max());
    EXPECT_EQ(saturatingDeadline(9300000000000ms), Clock::time_point::max());
    const auto before = Clock::now();
    EXPECT_GE(saturatingDeadline(1000ms), before + 1s);
    const auto soon = saturatingDeadline(1000ms);
    EXPECT_LE(soon, Clock::now() + 1s);
}

TEST(WaitReady, SlicesAreBetweenNothingAndADay) {
    EXPECT_EQ(waitSlice(Clock::time_point::min() + 1000h), Clock::duration::zero());
    EXPECT_EQ(waitSlice(Clock::now()), Clock::duration::zero());
    EXPECT_EQ(waitSlice(Clock::time_point::max()), 24h);
    EXPECT_LE(waitSlice(Clock::now() + 1h), 1h);
}

TEST(WaitReady, TellsReadyFromTimedOut) {
    std::promise<void> promise;
    const auto future = promise.get_future();
    const auto start = Clock::now();
    EXPECT_FALSE(waitReady(future, 20ms));
    EXPECT_GE(Clock::now() - start, 20ms);
    promise.set_value();
    EXPECT_TRUE(waitReady(future, 0ms));
    EXPECT_TRUE(waitReady(future, std::chrono::milliseconds::max()));
    EXPECT_THROW(static_cast<void>(waitReady(std::future<void>(), 1ms)), std::future_error);
}

TEST(WaitReady, GoesOnAfterAWaitThatEndedBeforeTheDeadline) {
    std::promise<void> promise;
    const auto future = promise.get_future();
    faults::Calls calls;
    calls.hook(Call::syscall, [&](auto& call) {
        if (call.ordinal == 2) {
            promise.set_value();
        }
        // The futex of the first wait, as if its day were over.
        return call.ordinal == 1 ? ETIMEDOUT : 0;
    });
    EXPECT_TRUE(waitReady(future, 60s));
    EXPECT_GE(calls.count(Call::syscall), 2);
}

}  // namespace
