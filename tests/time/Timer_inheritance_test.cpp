// SPDX-License-Identifier: MIT
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <future>

#include <gtest/gtest.h>

#include <vorn/common/time/Timer.h>

#include "helpers/Actor.h"
#include "helpers/environment.h"

namespace {

using namespace std::chrono_literals;
using vorn::common::time::Recurrence;
using vorn::common::time::Timer;

/// The slack that a thread or a program started now would inherit. The C library's form returns an
/// int.
long slack() {
    return ::syscall(SYS_prctl, PR_GET_TIMERSLACK);
}

long slackInCallback() {
    std::promise<long> seen;
    Timer timer([&] { seen.set_value(slack()); }, 1ms, Recurrence::OneShot);
    timer.start();
    return seen.get_future().get();
}

TEST(Timer, CallsBackWithTheTimerSlackOfItsCreator) {
    if (helpers::kEmulated) {
        GTEST_SKIP() << "the emulator does not know the timer slack";
    }
    EXPECT_EQ(slackInCallback(), slack());
}

TEST(Timer, CallsBackWithATimerSlackOfSeconds) {
    if (helpers::kEmulated) {
        GTEST_SKIP() << "the emulator does not know the timer slack";
    }
    if (sizeof(unsigned long) < sizeof(std::uint64_t)) {
        GTEST_SKIP() << "there is no slack of more than four seconds";
    }
    constexpr std::uint64_t kFiveSeconds = 5'000'000'000;
    helpers::Actor creator;
    creator.run([] {
        ASSERT_EQ(::prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(kFiveSeconds)), 0);
        EXPECT_EQ(slackInCallback(), static_cast<long>(kFiveSeconds));
    });
}

}  // namespace
