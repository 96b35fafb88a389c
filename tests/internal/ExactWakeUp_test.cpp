// SPDX-License-Identifier: MIT
#include <sys/prctl.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "helpers/faults/calls.h"
#include "posix/ExactWakeUp.h"

namespace {

using vorn::common::internal::ExactWakeUp;

int slack() {
    return ::prctl(PR_GET_TIMERSLACK);
}

TEST(ExactWakeUp, GivesTheThreadItsSlackBack) {
    const int usual = slack();
    ::prctl(PR_SET_TIMERSLACK, 70000UL);
    {
        const ExactWakeUp punctual;
        EXPECT_EQ(slack(), 1);
    }
    EXPECT_EQ(slack(), 70000);
    ::prctl(PR_SET_TIMERSLACK, 0UL);
    EXPECT_EQ(slack(), usual);
}

TEST(ExactWakeUp, GivesTheUsualSlackWhereTheFormerCannotBeRead) {
    const int usual = slack();
    {
        faults::Calls calls;
        calls.fail(faults::Call::syscall, ENOSYS);
        const ExactWakeUp punctual;
        EXPECT_EQ(slack(), 1);
    }
    EXPECT_EQ(slack(), usual);
}

}  // namespace
