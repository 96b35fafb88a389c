#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include <gtest/gtest.h>

#include "posix/childEnd.h"

namespace {

using namespace vorn::common::internal;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

pid_t startedChild(int code) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        if (code < 0) {
            for (;;) {
                ::pause();
            }
        }
        ::_exit(code);
    }
    return pid;
}

using Wait = bool (*)(pid_t, Clock::time_point);
const Wait kForms[] = {&waitForEnd, &pollForEnd};

TEST(ChildEnd, SeesTheEndWithoutReaping) {
    for (const auto wait : kForms) {
        for (const auto deadline : {Clock::now() + 60s, Clock::time_point::max()}) {
            const pid_t pid = startedChild(5);
            EXPECT_TRUE(wait(pid, deadline));
            EXPECT_TRUE(wait(pid, Clock::time_point::min()));
            EXPECT_TRUE(waitForEnd(pid));
            EXPECT_EQ(::kill(pid, 0), 0);
            EXPECT_EQ(reap(pid), 5);
            EXPECT_EQ(::kill(pid, 0), -1);
        }
    }
}

TEST(ChildEnd, GivesUpAtTheDeadlineAndNotBefore) {
    for (const auto wait : kForms) {
        const pid_t pid = startedChild(-1);
        EXPECT_FALSE(wait(pid, Clock::now()));
        const auto deadline = Clock::now() + 40ms;
        EXPECT_FALSE(wait(pid, deadline));
        EXPECT_GE(Clock::now(), deadline);
        std::thread killer([pid] { ::kill(pid, SIGKILL); });
        EXPECT_TRUE(wait(pid, Clock::now() + 60s));
        killer.join();
        EXPECT_EQ(reap(pid), std::nullopt);
    }
}

TEST(ChildEnd, WhatCannotBeWaitedForHasEnded) {
    const pid_t pid = startedChild(0);
    EXPECT_EQ(::waitpid(pid, nullptr, 0), pid);
    for (const auto wait : kForms) {
        EXPECT_TRUE(wait(pid, Clock::now() + 60s));
    }
    EXPECT_TRUE(waitForEnd(pid));
    EXPECT_EQ(reap(pid), std::nullopt);
}

}  // namespace
