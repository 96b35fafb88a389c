// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include <gtest/gtest.h>

#include "helpers/child.h"
#include "helpers/faults/calls.h"
#include "posix/Child.h"

namespace {

using namespace vorn::common::internal;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

pid_t forked(int code) {
    return helpers::startProcess([code] {
        while (code < 0) {
            ::pause();
        }
        return code;
    });
}

Descriptor descriptorOf(pid_t pid) {
    constexpr long kPidfdOpen = 434;
    return Descriptor(static_cast<int>(::syscall(kPidfdOpen, pid, 0)));
}

/// A descriptor that answers to nothing that is asked of a process: as on a kernel that gives them
/// but does not know the calls.
Descriptor uselessDescriptor() {
    return Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

/// The ways in which a child can be known. A child runs until it is killed where `code` is
/// negative.
const struct {
    const char* name;
    Child (*made)(int code);
} kForms[] = {
    {"by descriptor",
     [](int code) {
         const pid_t pid = forked(code);
         return Child(pid, descriptorOf(pid));
     }},
    {"by id", [](int code) { return Child(forked(code)); }},
    {"by a descriptor that the kernel does not serve",
     [](int code) { return Child(forked(code), uselessDescriptor()); }},
};

TEST(Child, SeesTheEndWithoutReaping) {
    for (const auto& form : kForms) {
        SCOPED_TRACE(form.name);
        for (const auto deadline : {Clock::now() + 60s, Clock::time_point::max()}) {
            const Child child = form.made(5);
            EXPECT_TRUE(child.waitForEnd(deadline));
            EXPECT_TRUE(child.waitForEnd(Clock::time_point::min()));
            EXPECT_TRUE(child.pollForEnd(Clock::time_point::min()));
            child.waitForEnd();
            EXPECT_EQ(::kill(child.id(), 0), 0);
            EXPECT_EQ(child.reap(), 5);
            EXPECT_EQ(::kill(child.id(), 0), -1);
        }
    }
}

TEST(Child, GivesUpAtTheDeadlineAndNotBefore) {
    for (const auto& form : kForms) {
        SCOPED_TRACE(form.name);
        const Child child = form.made(-1);
        EXPECT_FALSE(child.waitForEnd(Clock::now()));
        const auto deadline = Clock::now() + 40ms;
        EXPECT_FALSE(child.waitForEnd(deadline));
        EXPECT_GE(Clock::now(), deadline);
        std::thread killer([&child] { child.kill(); });
        EXPECT_TRUE(child.waitForEnd(Clock::now() + 60s));
        killer.join();
        EXPECT_EQ(child.reap(), std::nullopt);
    }
}

TEST(Child, WaitsWithPausesWhereThePollIsRefused) {
    const pid_t pid = forked(-1);
    const Child child(pid, descriptorOf(pid));
    faults::Calls calls;
    // As with a limit of no descriptors at all.
    calls.fail(faults::Call::poll, EINVAL);
    EXPECT_FALSE(child.waitForEnd(Clock::now() + 40ms));
    // Each look is one call: how many there may be follows from the pauses.
    EXPECT_LE(calls.count(faults::Call::waitid), 45);
    child.kill();
    EXPECT_TRUE(child.waitForEnd(Clock::now() + 60s));
    EXPECT_EQ(child.reap(), std::nullopt);
}

TEST(Child, WhatCannotBeWaitedForHasEnded) {
    for (const auto& form : kForms) {
        SCOPED_TRACE(form.name);
        const Child child = form.made(0);
        EXPECT_EQ(::waitpid(child.id(), nullptr, 0), child.id());
        EXPECT_TRUE(child.waitForEnd(Clock::now() + 60s));
        child.waitForEnd();
        EXPECT_EQ(child.reap(), std::nullopt);
    }
}

TEST(Child, NoneIsNeitherSignalledNorWaitedFor) {
    const Child none;
    EXPECT_FALSE(none);
    EXPECT_EQ(none.id(), -1);
    none.kill();
    none.killGroup();
    EXPECT_TRUE(none.waitForEnd(Clock::time_point::max()));
    none.waitForEnd();
    EXPECT_EQ(none.reap(), std::nullopt);
}

TEST(Child, AGroupIsKilledWithItsLeader) {
    for (const auto& form : kForms) {
        SCOPED_TRACE(form.name);
        const Child leader = form.made(-1);
        const Child member = form.made(-1);
        ASSERT_EQ(::setpgid(leader.id(), leader.id()), 0);
        ASSERT_EQ(::setpgid(member.id(), leader.id()), 0);
        leader.killGroup();
        for (const Child* child : {&leader, &member}) {
            child->waitForEnd();
            EXPECT_EQ(child->reap(), std::nullopt);
        }
    }
}

}  // namespace
