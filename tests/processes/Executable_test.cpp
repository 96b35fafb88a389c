// SPDX-License-Identifier: MIT
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <future>
#include <stdexcept>
#include <system_error>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/executable/Executable.h>

#include "helpers/background.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/threads.h"
#include "helpers/leave.h"
#include "helpers/processes.h"

namespace {

using helpers::shell;
using vorn::common::executable::Executable;
using vorn::common::executable::IExecutable;
using namespace std::chrono_literals;

static_assert(!std::is_copy_constructible_v<Executable> &&
              !std::is_move_constructible_v<Executable>);
static_assert(std::is_base_of_v<vorn::common::classattributes::NonCopiable<Executable, Executable>,
                                Executable>);
static_assert(std::has_virtual_destructor_v<IExecutable>);

const Executable::Params kNoOptions{};

TEST(Executable, StatusValuesAreFixed) {
    EXPECT_EQ(Executable::Idle, 0);
    EXPECT_EQ(Executable::Running, 1);
    EXPECT_EQ(Executable::TimedOut, 2);
    EXPECT_EQ(Executable::Aborted, 3);
    EXPECT_EQ(Executable::Exited, 4);
    const Executable::Status status = Executable::Status::Exited;
    EXPECT_TRUE(status == 4);
}

TEST(Executable, NothingIsThereBeforeTheStart) {
    Executable idle(shell("exit 0"), kNoOptions);
    EXPECT_EQ(idle.getStatus(), Executable::Idle);
    EXPECT_EQ(idle.getExitCode(), std::nullopt);
    EXPECT_EQ(idle.readFromStdOut(), std::nullopt);
    EXPECT_EQ(idle.readFromStdErr(), std::nullopt);
    EXPECT_THROW(idle.wait(), std::bad_optional_access);
}

TEST(Executable, CapturesBothStreamsAndTheExitStatus) {
    Executable program(shell("echo to out; echo to err >&2; exit 3"), kNoOptions);
    program.execSync();
    EXPECT_EQ(program.getStatus(), Executable::Exited);
    EXPECT_EQ(program.getExitCode(), 3);
    EXPECT_EQ(program.readFromStdOut(), "to out\n");
    EXPECT_EQ(program.readFromStdErr(), "to err\n");
    EXPECT_EQ(program.readFromStdOut(), "");
    EXPECT_EQ(program.readFromStdErr(), "");
    EXPECT_THROW(program.wait(), std::bad_optional_access);
}

TEST(Executable, ExitStatusIsTheLowByte) {
    for (const int code : {0, 1, 127, 128, 255}) {
        Executable program(shell("exit " + std::to_string(code)), kNoOptions);
        program.execSync();
        EXPECT_EQ(program.getExitCode(), code);
    }
}

TEST(Executable, CallbackComesOnceWithTheFinalState) {
    std::promise<void> called;
    std::atomic<int> calls = 0;
    const IExecutable* seen = nullptr;
    int status = 0;
    std::optional<std::int32_t> code;
    {
        Executable program(shell("echo x; exit 9"), kNoOptions);
        program.execAsync([&](const IExecutable& ended) {
            seen = &ended;
            status = ended.getStatus();
            code = ended.getExitCode();
            if (++calls == 1) {
                called.set_value();
            }
        });
        called.get_future().wait();
        EXPECT_EQ(seen, &program);
    }
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(status, Executable::Exited);
    EXPECT_EQ(code, 9);
}

TEST(Executable, RunsWithoutCallback) {
    Executable program(shell("exit 2"), kNoOptions);
    program.execAsync({});
    EXPECT_TRUE(helpers::waitUntil([&] { return program.getStatus() == Executable::Exited; }));
    EXPECT_EQ(program.getExitCode(), 2);
}

TEST(Executable, StartsOnlyOnce) {
    const helpers::TempDir directory;
    Executable program(shell("while ! [ -e " + directory.file("go") + " ]; do sleep 0.01; done"),
                       {.environment = {"PATH=/bin:/usr/bin"}});
    program.execAsync({});
    EXPECT_THROW_TEXT(program.execAsync({}), std::logic_error, "already running or done");
    EXPECT_THROW_TEXT(program.execSync(), std::logic_error, "already running or done");
    EXPECT_EQ(program.getStatus(), Executable::Running);
    directory.write("go", "");
    ASSERT_TRUE(helpers::waitUntil([&] { return program.getStatus() == Executable::Exited; }));
    EXPECT_THROW_TEXT(program.execAsync({}), std::logic_error, "already running or done");
    EXPECT_EQ(program.getStatus(), Executable::Exited);
    EXPECT_EQ(program.getExitCode(), 0);
}

TEST(Executable, AProgramThatCannotBeExecutedExitsWith1) {
    const helpers::TempDir directory;
    for (const std::string& path :
         {directory.file("missing"), directory.write("text", "no program"), std::string("sh")}) {
        Executable program({path}, {.environment = {"PATH=/bin"}});
        program.execSync();
        EXPECT_EQ(program.getStatus(), Executable::Exited) << path;
        EXPECT_EQ(program.getExitCode(), 1) << path;
    }
}

TEST(Executable, ReadsAFloodWhileItRuns) {
    constexpr std::size_t kSize = 10'000'000;
    Executable program(shell("head -c 10000000 /dev/zero; echo end >&2"),
                       {.environment = {"PATH=/bin:/usr/bin"}});
    program.execAsync({});
    const auto text = program.readFromStdOut();
    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(text->size(), kSize);
    EXPECT_EQ(text->find_first_not_of('\0'), std::string::npos);
    EXPECT_EQ(program.readFromStdErr(), "end\n");
    EXPECT_TRUE(helpers::waitUntil([&] { return program.getStatus() == Executable::Exited; }));
}

TEST(Executable, StartCopiesItsArgumentsAndOptions) {
    auto arguments = shell("echo $A");
    Executable::Params options{.environment = {"A=kept"}};
    Executable program(arguments, options);
    arguments = shell("echo changed");
    options.environment = {"A=changed"};
    program.execSync();
    EXPECT_EQ(program.readFromStdOut(), "kept\n");
}

TEST(Executable, ProgramSeesFileNameArgumentsAndExactEnvironment) {
    Executable name({"/bin/sh", "-c", "echo \"$0:$1\"", "zero", "a b"}, kNoOptions);
    name.execSync();
    EXPECT_EQ(name.readFromStdOut(), "zero:a b\n");
    Executable bare(shell("read -r line </proc/$$/cmdline; echo $0"), kNoOptions);
    bare.execSync();
    EXPECT_EQ(bare.readFromStdOut(), "sh\n");
    for (const std::vector<std::string>& environment :
         {std::vector<std::string>{}, std::vector<std::string>{"A=1", "B=2"}}) {
        Executable program({"/usr/bin/env"}, {.environment = environment});
        program.execSync();
        EXPECT_EQ(program.readFromStdOut(), environment.empty() ? "" : "A=1\nB=2\n");
    }
}

TEST(Executable, ManyThreadsStartAndCollect) {
    std::vector<std::future<bool>> runs;
    for (int thread = 0; thread < 8; ++thread) {
        runs.push_back(helpers::inBackground([thread] {
            for (int i = 0; i < 10; ++i) {
                const auto text = std::to_string(thread) + "." + std::to_string(i);
                Executable program(shell("echo " + text + "; exit 4"), kNoOptions);
                program.execSync();
                if (program.getExitCode() != 4 || program.readFromStdOut() != text + "\n") {
                    return false;
                }
            }
            return true;
        }));
    }
    for (auto& run : runs) {
        EXPECT_TRUE(run.get());
    }
}

TEST(Executable, DeliberateFailedForkLeavesItRunningForEver) {
    VORN_REQUIRE_ROOT();
    const auto result = helpers::runInChild([](const auto& report) {
        rlimit before{};
        ::getrlimit(RLIMIT_NPROC, &before);
        const rlimit none{0, before.rlim_max};
        const auto descriptors = helpers::openDescriptors();
        if (::setrlimit(RLIMIT_NPROC, &none) != 0 || ::setresuid(65534, 65534, 65534) != 0) {
            return 10;
        }
        bool called = false;
        Executable program(shell("exit 0"), kNoOptions);
        try {
            program.execAsync([&](const IExecutable&) { called = true; });
        } catch (const std::runtime_error& error) {
            report(error.what());
        }
        if (program.getStatus() != Executable::Running || program.readFromStdOut() ||
            program.readFromStdErr() || program.getExitCode()) {
            return 11;
        }
        try {
            program.execAsync({});
        } catch (const std::logic_error& error) {
            report(std::string("; ") + error.what());
        }
        if (called || helpers::hasChildren() || helpers::openDescriptors() != descriptors) {
            return 12;
        }
        ::setrlimit(RLIMIT_NPROC, &before);
        Executable next(shell("exit 3"), kNoOptions);
        next.execSync();
        return next.getExitCode() == 3 ? 0 : 13;
    });
    EXPECT_EQ(result.report, "fork failed; already running or done");
    EXPECT_EQ(result.exitCode, 0);
}

TEST(Executable, FailedPipesLeaveItRunning) {
    if (helpers::kAddressSanitizer) {
        GTEST_SKIP() << "the sanitizers of this build need descriptors for their own checks";
    }
    for (const bool oneFits : {false, true}) {
        const auto result = helpers::runInChild([&](const auto& report) {
            int first[2];
            if (::pipe(first) != 0) {
                return 4;
            }
            ::close(first[0]);
            ::close(first[1]);
            const auto descriptors = helpers::openDescriptors();
            rlimit before{};
            ::getrlimit(RLIMIT_NOFILE, &before);
            const rlimit few{oneFits ? static_cast<rlim_t>(std::max(first[0], first[1]) + 1) : 3,
                             before.rlim_max};
            ::setrlimit(RLIMIT_NOFILE, &few);
            Executable program(shell("exit 0"), kNoOptions);
            try {
                program.execAsync({});
            } catch (const std::runtime_error& error) {
                report(error.what());
            }
            if (program.getStatus() != Executable::Running || program.readFromStdOut()) {
                return 1;
            }
            ::setrlimit(RLIMIT_NOFILE, &before);
            if (helpers::hasChildren() || helpers::openDescriptors() != descriptors) {
                return 2;
            }
            Executable next(shell("exit 3"), kNoOptions);
            next.execSync();
            return next.getExitCode() == 3 ? 0 : 3;
        });
        EXPECT_EQ(result.report, "failed to open pipe") << oneFits;
        EXPECT_EQ(result.exitCode, 0) << oneFits;
    }
}

TEST(Executable, AChildThatCannotBeWaitedForIsKilledAndReaped) {
    const auto result = helpers::runInChild([](const auto& report) {
        Executable program({"/bin/sleep", "1000"}, kNoOptions);
        {
            const faults::NoMoreThreads shortage;
            try {
                program.execAsync({});
            } catch (const std::system_error&) {
                report("no thread");
            }
        }
        if (::waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD) {
            return 1;
        }
        return program.getStatus() == Executable::Running && !program.readFromStdOut() ? 0 : 2;
    });
    EXPECT_EQ(result.report, "no thread");
    EXPECT_EQ(result.exitCode, 0);
}

TEST(Executable, DeliberateEmptyArgumentListThrowsInTheChild) {
    const helpers::TempDir directory;
    const auto file = directory.file("thrown");
    const pid_t parent = ::getpid();
    Executable program({}, {.ownProcessGroup = true});
    try {
        program.execAsync({});
    } catch (const std::runtime_error& error) {
        if (::getpid() == parent) {
            FAIL() << "thrown in the parent";
        }
        const bool asDocumented = std::string(error.what()) == "arguments cannot be empty" &&
                                  program.getStatus() == Executable::Running &&
                                  ::getpgrp() == ::getpid() && !program.readFromStdOut();
        helpers::leave(asDocumented ? 7 : 8);
    }
    ASSERT_EQ(::getpid(), parent);
    ASSERT_TRUE(helpers::waitUntil([&] { return program.getStatus() == Executable::Exited; }));
    EXPECT_EQ(program.getExitCode(), 7);
    EXPECT_EQ(program.readFromStdOut(), "");
}

}  // namespace
