// SPDX-License-Identifier: MIT
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/executable/Executable.h>

#include "helpers/TempDir.h"
#include "helpers/background.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/processes.h"

// Many starts at once, and what else goes on in a service meanwhile. VORN_TESTS_LONG=1 takes the
// long form.
namespace {

using helpers::shell;
using vorn::common::executable::Executable;
using vorn::common::executable::IExecutable;
using namespace std::chrono_literals;

/// What a program was told to do, and how that must end.
struct Errand {
    std::string text;
    Executable::Status status;
    int exitCode = -1;  // -1: none
    std::optional<std::chrono::milliseconds> timeout = {};
};

Errand errand(int number) {
    switch (number % 8) {
        case 0:
            return {"kill -KILL $$", Executable::Aborted};
        case 1:
            return {"exec sleep 600", Executable::TimedOut, -1, 1ms * (number % 40)};
        case 2:
            return {"exec >&- 2>&-; exit 7", Executable::Exited, 7};
        case 3:
            return {"kill -TERM $$", Executable::Aborted};
        default: {
            const int code = number % 256;
            return {"echo " + std::to_string(number) + "; exit " + std::to_string(code),
                    Executable::Exited, code};
        }
    }
}

/// "" or what is wrong.
std::string run(int number) {
    const Errand todo = errand(number);
    std::promise<void> told;
    Executable program(shell(todo.text), {.timeout = todo.timeout});
    program.execAsync([&](const IExecutable&) { told.set_value(); });
    told.get_future().wait();
    const auto code = program.getExitCode();
    if (program.getStatus() != todo.status || code.value_or(-1) != todo.exitCode) {
        return std::to_string(number) + ": status " + std::to_string(program.getStatus()) +
               ", exit code " + std::to_string(code.value_or(-1));
    }
    if (number % 8 > 3 && program.readFromStdOut() != std::to_string(number) + "\n") {
        return std::to_string(number) + ": lost output";
    }
    return "";
}

TEST(Storms, ExitsKillsAndTimeoutsEightAtATimeLeaveNothing) {
    const int starts = helpers::longForm() ? 10'000 : helpers::kSlow ? 80 : 400;
    const auto descriptors = helpers::openDescriptors();
    std::atomic<int> next = 0;
    std::vector<std::future<std::string>> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.push_back(helpers::inBackground([&] {
            for (int number = next++; number < starts; number = next++) {
                if (const std::string wrong = run(number); !wrong.empty()) {
                    return wrong;
                }
            }
            return std::string();
        }));
    }
    for (auto& thread : threads) {
        EXPECT_EQ(thread.get(), "");
    }
    EXPECT_FALSE(helpers::hasChildren());
    EXPECT_EQ(helpers::openDescriptors(), descriptors);
}

// A stranger that held the write end of an output would keep its reader from ever seeing the end.
TEST(Storms, NoPipeReachesAProgramThatAnotherThreadStartsByItself) {
    std::atomic<bool> begun = false;
    std::atomic<bool> stop = false;
    std::atomic<int> strangers = 0;
    auto forking = helpers::inBackground([&] {
        std::string wrong;
        while (!begun) {
            std::this_thread::yield();
        }
        while (!stop && wrong.empty()) {
            const pid_t stranger = helpers::startProcess([] {
                // Its own pipes, if any, have numbers from 3 on.
                return ::execl(
                    "/bin/sh", "sh", "-c",
                    "for fd in 3 4 5 6 7 8 9; do [ ! -p /proc/self/fd/$fd ] || exit $fd; done",
                    nullptr);
            });
            const int status = helpers::waitForEnd(stranger);
            if (status != 0) {
                wrong = "status " + std::to_string(status);
            }
            ++strangers;
        }
        return wrong;
    });
    const int starts = helpers::longForm() ? 5'000 : helpers::kSlow ? 20 : 100;
    const auto goesOn = [&] { return forking.wait_for(0s) != std::future_status::ready; };
    for (int i = 0; (i < starts || strangers < 10) && goesOn(); ++i) {
        {
            Executable program(shell("echo x"), {});
            program.execSync();
            EXPECT_EQ(program.readFromStdOut(), "x\n");
        }
        // Not before: a sanitizer that meets a type for the first time probes the object through a
        // pipe of its own, which it does not close at an exec.
        begun = true;
    }
    stop = true;
    EXPECT_EQ(forking.get(), "");
}

TEST(Storms, EveryCombinationOfClosedStandardStreams) {
    for (unsigned closed = 0; closed < 8; ++closed) {
        const auto result = helpers::runInChild([&](const auto& report) {
            for (const int fd : {0, 1, 2}) {
                if ((closed >> static_cast<unsigned>(fd) & 1U) != 0) {
                    ::close(fd);
                }
            }
            Executable program(shell("echo out; echo err >&2; exit 3"), {});
            program.execSync();
            report(*program.readFromStdOut() + *program.readFromStdErr());
            return program.getExitCode().value_or(99);
        });
        EXPECT_EQ(result.report, "out\nerr\n") << closed;
        EXPECT_EQ(result.exitCode, 3) << closed;
    }
}

// In a process of its own: signals reach every thread, and a handler without SA_RESTART interrupts
// whatever it does.
TEST(Storms, SignalsThatInterruptEveryCallChangeNothing) {
    const int starts = helpers::longForm() ? 2'000 : helpers::kSlow ? 10 : 60;
    const auto result = helpers::runInChild([&](const auto& report) {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        for (const int signal : {SIGUSR1, SIGUSR2, SIGALRM}) {
            ::sigaction(signal, &action, nullptr);
        }
        std::atomic<bool> stop = false;
        const pthread_t starter = ::pthread_self();
        std::thread storm([&] {
            while (!stop) {
                ::pthread_kill(starter, SIGUSR1);
                ::kill(::getpid(), SIGUSR2);
                ::kill(::getpid(), SIGALRM);
                std::this_thread::sleep_for(100us);
            }
        });
        int code = 0;
        for (int i = 0; i < starts && code == 0; ++i) {
            Executable program(shell("head -c 60000 /dev/zero; echo e >&2; exit 9"), {});
            program.execSync();
            const auto out = program.readFromStdOut();
            if (program.getExitCode() != 9 || !out || out->size() != 60000 ||
                program.readFromStdErr() != "e\n") {
                report("start " + std::to_string(i));
                code = 1;
            }
        }
        stop = true;
        storm.join();
        return code;
    });
    EXPECT_EQ(result.report, "");
    EXPECT_EQ(result.exitCode, 0);
}

TEST(Storms, ProgramsThatAreStoppedAndContinuedEndAsTheyWould) {
    const int signals = helpers::longForm() ? 20'000 : helpers::kSlow ? 100 : 500;
    const helpers::TempDir dir;
    std::promise<void> told;
    Executable program(
        shell("echo $$ >" + dir.file("pid") + "; read line <" + dir.file("go") + "; exit 5"), {});
    ASSERT_EQ(::mkfifo(dir.file("go").c_str(), 0600), 0);
    program.execAsync([&](const IExecutable&) { told.set_value(); });
    const pid_t pid = helpers::pidIn(dir.file("pid"));
    for (int i = 0; i < signals; ++i) {
        ::kill(pid, i % 2 == 0 ? SIGSTOP : SIGCONT);
    }
    EXPECT_EQ(program.getStatus(), Executable::Running);
    ::kill(pid, SIGCONT);
    dir.write("go", "\n");
    told.get_future().wait();
    EXPECT_EQ(program.getStatus(), Executable::Exited);
    EXPECT_EQ(program.getExitCode(), 5);
}

TEST(Storms, FloodsAndDescendantsThatOutliveTheirParents) {
    const int starts = helpers::longForm() ? 200 : 4;
    const helpers::TempDir dir;
    for (int i = 0; i < starts; ++i) {
        // The flood stands at its full pipe; the grandchild keeps outputs that nobody reads.
        std::promise<void> told;
        Executable flood(shell("exec yes"), {.timeout = 20ms});
        flood.execAsync([&](const IExecutable&) { told.set_value(); });
        Executable parent(shell("sleep 600 & echo $! >" + dir.file("pid") + "; exit 4"), {});
        parent.execSync();
        EXPECT_EQ(parent.getExitCode(), 4);
        const pid_t grandchild = helpers::pidIn(dir.file("pid"));
        EXPECT_TRUE(helpers::isAlive(grandchild)) << "a program without a group leaves it behind";
        ::kill(grandchild, SIGKILL);
        told.get_future().wait();
        EXPECT_EQ(flood.getStatus(), Executable::TimedOut);
    }
}

}  // namespace
