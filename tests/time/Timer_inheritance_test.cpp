// SPDX-License-Identifier: MIT
#include <sys/prctl.h>

#include <future>

#include <gtest/gtest.h>

#include <vorn/common/time/Timer.h>

#include "helpers/environment.h"

namespace {

using namespace std::chrono_literals;
using vorn::common::time::Recurrence;
using vorn::common::time::Timer;

/// The slack that a thread or a program started now would inherit.
int slack() {
    return ::prctl(PR_GET_TIMERSLACK);
}

TEST(Timer, CallsBackWithTheTimerSlackOfItsCreator) {
    if (helpers::kEmulated) {
        GTEST_SKIP() << "the emulator does not know the timer slack";
    }
    std::promise<int> seen;
    Timer timer([&] { seen.set_value(slack()); }, 1ms, Recurrence::OneShot);
    timer.start();
    EXPECT_EQ(seen.get_future().get(), slack());
}

}  // namespace
