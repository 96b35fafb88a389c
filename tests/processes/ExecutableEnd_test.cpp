// SPDX-License-Identifier: MIT
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include <vorn/common/executable/Executable.h>

#include "helpers/background.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/faults/calls.h"
#include "helpers/processes.h"
#include "helpers/wallClock.h"

namespace {

using helpers::shell;
using vorn::common::executable::Executable;
using vorn::common::executable::IExecutable;
using namespace std::chrono_literals;

const std::vector<std::string> kTools{"PATH=/bin:/usr/bin"};

bool endsAs(const Executable& program, Executable::Status status) {
    return helpers::waitUntil([&] { return program.getStatus() > Executable::Running; }) &&
           program.getStatus() == status;
}

TEST(ExecutableEnd, ASignalGivesAbortedWithoutExitCode) {
    for (const char* signal : {"TERM", "KILL", "USR1"}) {
        std::promise<int> told;
        Executable program(shell(std::string("echo x; kill -") + signal + " $$"), {});
        program.execAsync([&](const IExecutable& ended) { told.set_value(ended.getStatus()); });
        EXPECT_EQ(told.get_future().get(), Executable::Aborted);
        EXPECT_EQ(program.getExitCode(), std::nullopt);
        EXPECT_EQ(program.readFromStdOut(), "x\n");
    }
}

TEST(ExecutableEnd, AChildReapedBySomebodyElseIsAborted) {
    const auto result = helpers::runInChild([](const auto&) {
        ::signal(SIGCHLD, SIG_IGN);
        for (const auto timeout :
             {std::optional<std::chrono::milliseconds>(), std::optional(60000ms)}) {
            std::promise<void> told;
            Executable program(shell("exit 5"), {.timeout = timeout});
            program.execAsync([&](const IExecutable&) { told.set_value(); });
            told.get_future().wait();
            if (program.getStatus() != Executable::Aborted || program.getExitCode()) {
                return 1;
            }
        }
        return 0;
    });
    EXPECT_EQ(result.exitCode, 0);
}

TEST(ExecutableEnd, StopAndContinueAreNoEnd) {
    const helpers::TempDir directory;
    for (const auto timeout :
         {std::optional<std::chrono::milliseconds>(), std::optional(60000ms)}) {
        Executable program(shell("echo $$ >" + directory.file("pid") + "; read x <" +
                                 directory.file("fifo") + "; exit 6"),
                           {.environment = kTools, .timeout = timeout});
        std::filesystem::remove(directory.file("pid"));
        ASSERT_EQ(::mkfifo(directory.file("fifo").c_str(), 0600), 0);
        program.execAsync({});
        const pid_t pid = helpers::pidIn(directory.file("pid"));
        ::kill(pid, SIGSTOP);
        ASSERT_TRUE(
            helpers::waitUntil([&] { return helpers::stateOf(std::to_string(pid)) == 'T'; }));
        EXPECT_EQ(program.getStatus(), Executable::Running);
        ::kill(pid, SIGCONT);
        ASSERT_TRUE(
            helpers::waitUntil([&] { return helpers::stateOf(std::to_string(pid)) != 'T'; }));
        EXPECT_EQ(program.getStatus(), Executable::Running);
        std::ofstream(directory.file("fifo")) << "go\n";
        EXPECT_TRUE(endsAs(program, Executable::Exited));
        EXPECT_EQ(program.getExitCode(), 6);
        std::filesystem::remove(directory.file("fifo"));
    }
}

TEST(ExecutableEnd, ATimeoutKillsAndIsToldOnce) {
    for (const auto timeout : {-1000ms, 0ms, 30ms}) {
        std::atomic<int> calls = 0;
        const auto start = std::chrono::steady_clock::now();
        {
            Executable program({"/bin/sleep", "1000"}, {.timeout = timeout});
            std::promise<void> told;
            program.execAsync([&](const IExecutable& ended) {
                EXPECT_EQ(ended.getStatus(), Executable::TimedOut);
                if (++calls == 1) {
                    told.set_value();
                }
            });
            told.get_future().wait();
            EXPECT_GE(std::chrono::steady_clock::now() - start, timeout);
            EXPECT_EQ(program.getStatus(), Executable::TimedOut);
            EXPECT_EQ(program.getExitCode(), std::nullopt);
            EXPECT_EQ(program.readFromStdOut(), "");
        }
        EXPECT_EQ(calls, 1);
    }
}

TEST(ExecutableEnd, NoWaitIsOpenToSignalsNotEvenThatForAKilledChild) {
    std::atomic<int> waits = 0;
    std::atomic<int> open = 0;
    faults::Calls calls(faults::Threads::All);
    calls.hook(faults::Call::waitid, [&](auto&) {
        sigset_t blocked;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        ++waits;
        open += sigismember(&blocked, SIGUSR1) == 1 && sigismember(&blocked, SIGTERM) == 1 ? 0 : 1;
        return 0;
    });
    {
        Executable program({"/bin/sleep", "1000"}, {.timeout = 0ms});
        program.execSync();
    }
    EXPECT_GE(waits, 2);
    EXPECT_EQ(open, 0);
}

TEST(ExecutableEnd, ATimeoutDoesNotFollowTheWallClock) {
    if (!helpers::ownsWallClock()) {
        GTEST_SKIP() << "the clock of this machine is not the tests' own";
    }
    for (const std::int64_t instant : {helpers::kIn2040, std::int64_t{1'000'000'000}}) {
        const auto begin = std::chrono::steady_clock::now();
        Executable program({"/bin/sleep", "1000"}, {.timeout = 300ms});
        program.execAsync({});
        const helpers::MovedWallClock clock(instant);
        EXPECT_TRUE(endsAs(program, Executable::TimedOut));
        EXPECT_GE(std::chrono::steady_clock::now() - begin, 300ms);
    }
}

TEST(ExecutableEnd, AKilledChildIsReaped) {
    const auto result = helpers::runInChild([](const auto&) {
        {
            Executable program({"/bin/sleep", "1000"}, {.timeout = 0ms});
            program.execSync();
        }
        return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD ? 0 : 1;
    });
    EXPECT_EQ(result.exitCode, 0);
}

TEST(ExecutableEnd, AGenerousOrHugeTimeoutChangesNothing) {
    for (const auto timeout : {std::chrono::milliseconds(1h), std::chrono::milliseconds::max(),
                               std::chrono::milliseconds(9'300'000'000'000)}) {
        Executable program(shell("echo x; exit 3"), {.timeout = timeout});
        program.execSync();
        EXPECT_EQ(program.getStatus(), Executable::Exited);
        EXPECT_EQ(program.getExitCode(), 3);
        EXPECT_EQ(program.readFromStdOut(), "x\n");
    }
}

TEST(ExecutableEnd, ATimeoutKillsTheWholeOwnGroup) {
    const helpers::TempDir directory;
    Executable program(shell("sleep 1000 & echo $! >" + directory.file("pid") + "; wait"),
                       {.environment = kTools, .timeout = 1000ms, .ownProcessGroup = true});
    program.execSync();
    EXPECT_EQ(program.getStatus(), Executable::TimedOut);
    // The grandchild holds the pipe, so the read ends only when it is gone.
    EXPECT_EQ(program.readFromStdOut(), "");
    const auto grandchild = helpers::contentOf(directory.file("pid"));
    if (!grandchild.empty()) {
        EXPECT_TRUE(helpers::waitUntil([&] { return !helpers::isAlive(std::stoi(grandchild)); }));
    }
}

TEST(ExecutableEnd, DeliberateDestructionKillsTheProcessButNotItsGroup) {
    for (const bool ownGroup : {false, true}) {
        const helpers::TempDir directory;
        std::atomic<bool> called = false;
        pid_t child = -1;
        pid_t grandchild = -1;
        {
            Executable program(shell("sleep 1000 & echo $$ >" + directory.file("child") +
                                     "; echo $! >" + directory.file("grandchild") + "; wait"),
                               {.environment = kTools, .ownProcessGroup = ownGroup});
            program.execAsync([&](const IExecutable&) { called = true; });
            child = helpers::pidIn(directory.file("child"));
            grandchild = helpers::pidIn(directory.file("grandchild"));
            EXPECT_TRUE(helpers::isAlive(child));
        }
        EXPECT_EQ(::kill(child, 0), -1);
        EXPECT_TRUE(helpers::isAlive(grandchild));
        EXPECT_FALSE(called);
        ::kill(grandchild, SIGKILL);
    }
}

TEST(ExecutableEnd, DestroyingWhileChildrenEndIsSafe) {
    for (int i = 0; i < 100; ++i) {
        std::atomic<int> calls = 0;
        {
            Executable program(shell(i % 2 == 0 ? "exit 0" : "kill -9 $$"),
                               {.timeout = std::chrono::milliseconds(i % 4)});
            program.execAsync([&](const IExecutable&) { ++calls; });
            if (i % 3 == 0) {
                std::this_thread::sleep_for(std::chrono::microseconds(100 * i));
            }
        }
        EXPECT_LE(calls, 1);
    }
}

TEST(ExecutableEnd, DeliberateUnreadOutputBlocksTheChild) {
    const helpers::TempDir directory;
    Executable program(shell("echo $$ >" + directory.file("pid") +
                             "; head -c 1000000 /dev/zero; echo >" + directory.file("written")),
                       {.environment = kTools});
    program.execAsync({});
    const auto pid = std::to_string(helpers::pidIn(directory.file("pid")));
    // The shell waits for head (or has become it), and head for room in the pipe.
    ASSERT_TRUE(helpers::waitUntil([&] {
        const auto children = helpers::contentOf("/proc/" + pid + "/task/" + pid + "/children");
        const auto writer = children.empty() ? pid : children.substr(0, children.find(' '));
        return helpers::contentOf("/proc/" + writer + "/comm") == "head\n" &&
               helpers::stateOf(writer) == 'S';
    }));
    EXPECT_EQ(program.getStatus(), Executable::Running);
    EXPECT_FALSE(std::filesystem::exists(directory.file("written")));
    EXPECT_EQ(program.readFromStdOut()->size(), 1000000u);
    EXPECT_TRUE(endsAs(program, Executable::Exited));
    EXPECT_TRUE(std::filesystem::exists(directory.file("written")));
}

TEST(ExecutableEnd, DeliberateAReadLastsAsLongAsAnythingHoldsThePipe) {
    const helpers::TempDir directory;
    ASSERT_EQ(::mkfifo(directory.file("fifo").c_str(), 0600), 0);
    Executable program(shell("(read x <" + directory.file("fifo") + "; echo late) & exec >&- 2>&-"),
                       {});
    program.execSync();
    EXPECT_EQ(program.getStatus(), Executable::Exited);
    auto text = helpers::inBackground([&] { return program.readFromStdOut(); });
    std::ofstream(directory.file("fifo")) << "go\n";
    EXPECT_EQ(text.get(), "late\n");
}

/// False when the time limit may have come before the read, which says nothing.
bool blockedReadDelays(std::chrono::milliseconds timeout) {
    const helpers::TempDir directory;
    EXPECT_EQ(::mkfifo(directory.file("fifo").c_str(), 0600), 0);
    Executable program(shell("read x <" + directory.file("fifo") + "; echo $x; exit 4"),
                       {.timeout = timeout});
    std::promise<pid_t> reader;
    const auto limit = std::chrono::steady_clock::now() + timeout;
    program.execAsync({});
    auto text = helpers::inBackground([&] {
        reader.set_value(static_cast<pid_t>(::syscall(SYS_gettid)));
        return program.readFromStdOut();
    });
    const auto task = "self/task/" + std::to_string(reader.get_future().get());
    EXPECT_TRUE(helpers::waitUntil([&] { return helpers::stateOf(task) == 'S'; }));
    if (std::chrono::steady_clock::now() >= limit) {
        return false;
    }
    std::this_thread::sleep_until(limit + 100ms);
    // The child still lives, because the reader holds the object.
    std::ofstream(directory.file("fifo")) << "released\n";
    const auto read = text.get();
    EXPECT_EQ(program.getExitCode(), std::nullopt);
    EXPECT_TRUE(endsAs(program, Executable::TimedOut));
    EXPECT_EQ(read, "released\n");
    return true;
}

TEST(ExecutableEnd, DeliberateABlockedReadDelaysStatusAndTimeout) {
    auto timeout = 1500ms;
    while (!blockedReadDelays(timeout)) {
        timeout *= 2;
        ASSERT_LT(timeout, 60s);
    }
}

TEST(ExecutableEnd, DeliberateExecSyncNeverReturnsForAKilledChild) {
    struct Observed : Executable {
        using Executable::Executable;
        void execAsync(const std::function<void(const IExecutable&)>& onDone) override {
            Executable::execAsync([this, onDone](const IExecutable& ended) {
                onDone(ended);
                delivered = true;
            });
        }
        std::atomic<bool> delivered = false;
    };
    const auto result = helpers::runInChild([](const auto& report) {
        static Observed program(shell("kill -9 $$"), {});
        static std::atomic<bool> returned = false;
        static std::atomic<pid_t> tid = 0;
        std::thread([] {
            tid = static_cast<pid_t>(::syscall(SYS_gettid));
            program.execSync();
            returned = true;
        }).detach();
        const bool told = helpers::waitUntil([] {
            return returned || (program.delivered &&
                                helpers::stateOf("self/task/" + std::to_string(tid.load())) == 'S');
        });
        report(!told ? "never told" : returned ? "returned" : "waits on");
        report(program.getStatus() == Executable::Aborted ? ", aborted" : ", not aborted");
        return ::raise(SIGKILL);
    });
    EXPECT_EQ(result.report, "waits on, aborted");
}

TEST(ExecutableEnd, ExecSyncReturnsForTimedOutChildren) {
    for (int i = 0; i < 20; ++i) {
        Executable program({"/bin/sleep", "1000"}, {.timeout = std::chrono::milliseconds(i % 3)});
        program.execSync();
        EXPECT_EQ(program.getStatus(), Executable::TimedOut);
    }
}

TEST(ExecutableEndDeathTest, DeliberateACallbackThatDestroysItsObjectEndsTheProcess) {
    EXPECT_DEATH(
        {
            std::promise<void> started;
            auto* program = new Executable(shell("exit 0"), {});
            program->execAsync([&](const IExecutable&) {
                started.get_future().wait();
                delete program;
            });
            started.set_value();
            ::pause();
        },
        "");
}

}  // namespace
