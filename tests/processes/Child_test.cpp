// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

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

TEST(Child, PausesAreDoubledUpToTwentyMilliseconds) {
    const Child child(forked(-1));
    std::vector<std::chrono::nanoseconds> pauses;
    faults::Calls calls;
    calls.hook(faults::Call::nanosleep, [&](auto& call) {
        const auto& time = *static_cast<const timespec*>(call.data);
        pauses.push_back(std::chrono::seconds(time.tv_sec) +
                         std::chrono::nanoseconds(time.tv_nsec));
        if (pauses.size() == 8) {
            child.kill();
        }
        return 0;
    });
    EXPECT_TRUE(child.waitForEnd(Clock::now() + 60s));
    ASSERT_GE(pauses.size(), 8U);
    std::chrono::nanoseconds expected = 1ms;
    for (const auto pause : pauses) {
        EXPECT_EQ(pause, expected);
        expected = std::min<std::chrono::nanoseconds>(2 * expected, 20ms);
    }
    EXPECT_EQ(child.reap(), std::nullopt);
}

TEST(Child, NoWaitGoesBeyondTheDeadline) {
    const pid_t pid = forked(-1);
    const Child byDescriptor(pid, descriptorOf(pid));
    const Child byId(pid);
    constexpr std::chrono::nanoseconds kLimit = 10ms;
    // After pauses of 1, 2 and 4 milliseconds the next one has three left at most.
    std::chrono::nanoseconds paused{};
    faults::Calls calls;
    calls.hook([&paused](auto& call) {
        if (call.call == faults::Call::nanosleep) {
            const auto& time = *static_cast<const timespec*>(call.data);
            paused += std::chrono::nanoseconds(time.tv_nsec);
        } else if (call.call == faults::Call::poll) {
            EXPECT_LE(call.flags, 10);
        }
        return 0;
    });
    EXPECT_FALSE(byId.waitForEnd(Clock::now() + kLimit));
    EXPECT_LE(paused, kLimit);
    EXPECT_FALSE(byDescriptor.waitForEnd(Clock::now() + kLimit));
    byId.kill();
    EXPECT_EQ(byId.reap(), std::nullopt);
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

TEST(Child, WhatHasBeenReapedIsNotSignalled) {
    for (const auto& form : kForms) {
        SCOPED_TRACE(form.name);
        const Child child = form.made(0);
        child.waitForEnd();
        EXPECT_EQ(child.reap(), 0);
        faults::Calls calls;
        calls.hook(faults::Call::kill, [&child](auto& call) {
            EXPECT_EQ(call.id, child.id()) << "a group, which may be a stranger's by now";
            return ESRCH;
        });
        child.killGroup();
    }
}

TEST(Child, ASignalThatIsRefusedFindsItsProcessAllTheSame) {
    const Child child(forked(-1));
    {
        faults::Calls calls;
        calls.fail(faults::Call::kill, EPERM);
        child.killGroup();
        EXPECT_EQ(calls.count(faults::Call::kill), 3) << "the look, the group, the process";
    }
    child.kill();
    EXPECT_EQ(child.reap(), std::nullopt);
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
