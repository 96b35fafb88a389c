// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>

#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/faults/calls.h"
#include "helpers/processes.h"
#include "processes/ScriptObserver.h"

namespace {

using namespace vorn::common;
using time::SecondsDuration;

const std::vector<std::string> kTools{"PATH=/bin:/usr/bin"};

// Copied while the static objects of this file are constructed.
const ScriptExecutor::Routine kCopied = kDefaultScriptRoutine;

int resultOf(const std::string& content, const ScriptExecutor::Routine& routine = kCopied) {
    ScriptContext context;
    context.request.script.content = content;
    context.request.script.environment = kTools;
    const int result = routine(&context);
    EXPECT_GT(context.pid, 0);
    return result;
}

TEST(DefaultScriptRoutine, ReturnsTheExitStatusOrMinusOneForASignal) {
    EXPECT_EQ(resultOf("exit 0"), 0);
    EXPECT_EQ(resultOf("exit 5"), 5);
    EXPECT_EQ(resultOf("exit 255"), 255);
    EXPECT_EQ(resultOf("kill -9 $$"), -1);
    EXPECT_EQ(resultOf("kill -TERM $$"), -1);
    EXPECT_EQ(resultOf("not a program"), 127);
}

TEST(DefaultScriptRoutine, StoresTheIdOfTheChild) {
    const helpers::TempDir directory;
    ScriptContext context;
    context.request.script.content = "echo $$ >" + directory.file("pid");
    EXPECT_EQ(kDefaultScriptRoutine(&context), 0);
    EXPECT_EQ(context.pid, helpers::pidIn(directory.file("pid")));
}

TEST(DefaultScriptRoutine, StopAndContinueAreNoEnd) {
    const helpers::TempDir directory;
    ScriptContext context;
    context.request.script.content = "kill -STOP $$; exit 4";
    int result = 0;
    std::thread run([&] { result = kDefaultScriptRoutine(&context); });
    EXPECT_TRUE(helpers::waitUntil([&] {
        return context.pid > 0 && helpers::stateOf(std::to_string(context.pid.load())) == 'T';
    }));
    ::kill(context.pid, SIGCONT);
    run.join();
    EXPECT_EQ(result, 4);
}

TEST(DefaultScriptRoutine, TextArgumentsAndEnvironmentAreExact) {
    const helpers::TempDir directory;
    const std::string file = directory.file("out");
    const std::string text = "(tr '\\0' '\\n' </proc/$$/cmdline; env) >" + file + "; :";
    EXPECT_EQ(resultOf(text), 0);
    EXPECT_TRUE(helpers::contentOf(file).rfind("sh\n-c\n" + text + "\n", 0) == 0)
        << helpers::contentOf(file);
    ScriptContext context;
    context.request.script.content = "/usr/bin/env >" + file;
    context.request.script.environment = {"A=1", "B=x y"};
    EXPECT_EQ(kDefaultScriptRoutine(&context), 0);
    const auto environment = helpers::contentOf(file);
    EXPECT_NE(environment.find("A=1\n"), std::string::npos);
    EXPECT_NE(environment.find("B=x y\n"), std::string::npos);
    EXPECT_EQ(environment.find("PATH="), std::string::npos);
}

TEST(DefaultScriptRoutine, KeepsTheStandardStreamsAndClosesTheRest) {
    const helpers::TempDir directory;
    const auto file = directory.file("out");
    const auto result = helpers::runInChild([&](const auto&) {
        const int fd = ::open(file.c_str(), O_CREAT | O_WRONLY, 0600);
        for (const int target : {1, 2, 9, 60, 4095, 4096}) {
            if (::dup2(fd, target) != target) {
                return 90;
            }
        }
        ScriptContext context;
        context.request.script.content =
            "echo out; echo err >&2; for n in 3 9 60 4095 4096; do "
            "[ -e /proc/$$/fd/$n ] && echo $n; done; exit 0";
        return kDefaultScriptRoutine(&context);
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(helpers::contentOf(file), "out\nerr\n4096\n");
}

TEST(DefaultScriptRoutine, StaysInTheGroupOfTheServiceWithItsSignalMask) {
    const helpers::TempDir directory;
    const auto file = directory.file("out");
    EXPECT_EQ(resultOf("(cut -d ' ' -f 5 /proc/$$/stat; grep SigBlk /proc/$$/status) >" + file), 0);
    EXPECT_EQ(helpers::contentOf(file),
              std::to_string(::getpgrp()) + "\nSigBlk:\t0000000000000000\n");
}

TEST(DefaultScriptRoutine, WaitsWithAllSignalsBlocked) {
    bool blocked = true;
    int waits = 0;
    faults::Calls calls;
    calls.hook(faults::Call::waitid, [&](const auto& /*call*/) {
        sigset_t mask;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGCHLD, SIGUSR1, SIGRTMIN}) {
            blocked = blocked && sigismember(&mask, signal) == 1;
        }
        ++waits;
        return 0;
    });
    EXPECT_EQ(resultOf("exit 3"), 3);
    EXPECT_TRUE(blocked);
    EXPECT_GT(waits, 0);
}

TEST(DefaultScriptRoutine, AFailedForkGivesMinusOneAtOnce) {
    VORN_REQUIRE_ROOT();
    const auto result = helpers::runInChild([](const auto&) {
        const pid_t bystander = helpers::startProcess([]() -> int {
            for (;;) {
                ::pause();
            }
        });
        const rlimit none{0, 0};
        if (::setrlimit(RLIMIT_NPROC, &none) != 0 || ::setresuid(65534, 0, 0) != 0 ||
            ::setresuid(65534, 65534, 0) != 0) {
            return 90;
        }
        ScriptContext context;
        const int outcome = kDefaultScriptRoutine(&context);
        ::setresuid(0, 0, 0);
        ::kill(bystander, SIGKILL);
        helpers::waitForEnd(bystander);
        return outcome == -1 && context.pid == -1 ? 0 : 91;
    });
    EXPECT_EQ(result.exitCode, 0);
}

TEST(DefaultScriptRoutine, EntersItsRootOrEndsWith1) {
    VORN_REQUIRE_FAKE_ROOT();
    const helpers::TempDir directory;
    const helpers::FakeRoot outer(directory.path());
    const helpers::FakeRoot inner(outer.path() / "tmp/chroot");
    ScriptContext context;
    context.request.script.content = "echo inside >/mark; pwd >>/mark";
    context.request.script.chroot = outer.path().string();
    EXPECT_EQ(kDefaultScriptRoutine(&context), 0);
    EXPECT_EQ(helpers::contentOf(outer.path() / "mark"), "inside\n/\n");
    context.request.script.chroot = directory.file("missing");
    EXPECT_EQ(kDefaultScriptRoutine(&context), 1);
    const auto result = helpers::runInChild([&](const auto&) {
        if (::chroot(outer.path().c_str()) != 0) {
            return 90;
        }
        context.request.script.chroot = "";
        return kDefaultScriptRoutine(&context);
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(helpers::contentOf(inner.path() / "mark"), "inside\n/\n");
}

TEST(DefaultScriptRoutine, ControlGroupsAreGivenToCgexecWithABareShellName) {
    VORN_REQUIRE_FAKE_ROOT();
    const struct {
        std::vector<std::string> groups;
        std::string record;
    } rows[] = {
        {{"cpu:a"}, "-g\ncpu:a\nsh\n-c\necho x\n"},
        {{"cpu:a", "memory,pids:b c"}, "-g\ncpu:a\n-g\nmemory,pids:b c\nsh\n-c\necho x\n"},
        {{}, "sh\n-c\necho x\n"},
    };
    for (const auto& row : rows) {
        const helpers::TempDir directory;
        const helpers::FakeRoot root(directory.path());
        ScriptContext context;
        context.request.script.content = "echo x";
        context.request.script.chroot = root.path().string();
        context.request.script.cgroups = row.groups;
        EXPECT_EQ(kDefaultScriptRoutine(&context), 0);
        EXPECT_EQ(root.record(), row.record);
    }
}

TEST(DefaultScriptRoutine, AScriptPastItsDeadlineIsKilledAndToldOfTwice) {
    Observer observer;
    Script script;
    script.description = "long";
    script.content = "while :; do read x; done </dev/zero";
    ScriptExecutor executor(1, kDefaultScriptRoutine);
    executor.start();
    ASSERT_TRUE(executor.execute(script, &observer, SecondsDuration(0)));
    ASSERT_TRUE(observer.waitForEnds(1));
    EXPECT_EQ(observer.texts().front(), "long timeout");
    EXPECT_EQ(observer.texts().back(), "long finished -1");
}

TEST(DefaultScriptRoutine, ScriptsWithinTheirDeadlineFinish) {
    Observer observer;
    ScriptExecutor executor(3, kDefaultScriptRoutine);
    executor.start();
    for (int code = 0; code < 6; ++code) {
        Script script;
        script.uuid = Uuid(0ULL);
        script.description = std::to_string(code);
        script.content = "exit " + std::to_string(code);
        ASSERT_TRUE(helpers::waitUntil(
            [&] { return executor.execute(script, &observer, SecondsDuration(600)); }));
    }
    ASSERT_TRUE(observer.waitForEnds(6));
    auto texts = observer.texts();
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(texts, (std::vector<std::string>{"0 finished 0", "1 finished 1", "2 finished 2",
                                               "3 finished 3", "4 finished 4", "5 finished 5"}));
}

}  // namespace
