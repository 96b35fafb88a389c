// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/executable/Executable.h>

#include "helpers/background.h"
#include "helpers/environment.h"
#include "helpers/faults/calls.h"
#include "helpers/pidNamespace.h"
#include "helpers/processes.h"
#include "helpers/refusedCalls.h"
#include "processes/ScriptObserver.h"

namespace {

using vorn::common::executable::Executable;
using namespace std::chrono_literals;

/// Who else takes the ends of the service's children.
enum class Reaper { System, Foreign };

/// True while a thread of this process waits in that system call.
bool someThreadIsIn(long call) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (helpers::contentOf(task.path() / "syscall").rfind(std::to_string(call) + " ", 0) == 0) {
            return true;
        }
    }
    return false;
}

/// Waits until nothing has that id any more.
void reaped(pid_t id, Reaper reaper) {
    if (reaper == Reaper::Foreign) {
        while (::waitpid(id, nullptr, 0) == -1 && errno == EINTR) {
        }
    } else {
        static_cast<void>(helpers::waitUntil([&] { return ::kill(id, 0) == -1; }));
    }
}

constexpr int kTooLate = 7;

/// The time limit passes while a read holds the object; before the read ends, so that the child can
/// be killed, the child is gone and its id is a stranger's. Returns 0 when the stranger lives on,
/// and kTooLate when the limit passed before all were in place, which says nothing.
int killLate(Reaper reaper, bool ownGroup, std::chrono::milliseconds limit) {
    if (reaper == Reaper::System) {
        ::signal(SIGCHLD, SIG_IGN);
    }
    const helpers::TempDir directory;
    for (const char* name : {"child", "reader"}) {
        ::mkfifo(directory.file(name).c_str(), 0600);
    }
    // What holds the pipe leaves the group, whose id would stay taken.
    Executable program(
        {"/bin/sh", "-c",
         "setsid sh -c 'read x <" + directory.file("reader") + "' & echo $$ >" +
             directory.file("pid") + "; read x <" + directory.file("child")},
        {.environment = {"PATH=/bin:/usr/bin"}, .timeout = limit, .ownProcessGroup = ownGroup});
    const auto late = std::chrono::steady_clock::now() + limit;
    program.execAsync({});
    const pid_t id = helpers::pidIn(directory.file("pid"));
    auto text = helpers::inBackground([&] { return program.readFromStdOut(); });
    const auto isLate = [&] { return std::chrono::steady_clock::now() >= late; };
    if (!helpers::waitUntil([&] { return isLate() || someThreadIsIn(SYS_read); })) {
        return 1;
    }
    if (isLate()) {
        const int go = ::open(directory.file("reader").c_str(), O_RDWR | O_CLOEXEC);  // at once
        static_cast<void>(::write(go, "go\n", 3) == 3);
        text.get();
        ::close(go);
        return kTooLate;
    }
    if (!helpers::waitUntil([] { return someThreadIsIn(SYS_futex); })) {
        return 1;
    }
    std::ofstream(directory.file("child")) << "go\n";
    reaped(id, reaper);
    helpers::Bystander bystander(id);
    if (bystander.id() != id) {
        return 2;
    }
    std::ofstream(directory.file("reader")) << "go\n";
    text.get();
    if (!helpers::waitUntil([&] { return program.getStatus() == Executable::TimedOut; })) {
        return 3;
    }
    if (!bystander.lived()) {
        return 4;
    }
    // Nor has its end been taken from this process.
    return reaper == Reaper::System || ::waitpid(id, nullptr, 0) == id ? 0 : 5;
}

/// The routine is slow to notice that its script is gone; meanwhile the deadline passes again and
/// again. Returns 0 when the stranger that has got the id lives on.
int killScript(Reaper reaper) {
    using namespace vorn::common;
    if (reaper == Reaper::System) {
        ::signal(SIGCHLD, SIG_IGN);
    }
    std::atomic<bool> noticed = false;
    faults::Calls calls(faults::Threads::All);
    calls.hook(faults::Call::waitid, [&](const auto& /*call*/) {
        static_cast<void>(helpers::waitUntil([&] { return noticed.load(); }));
        return 0;
    });
    const helpers::TempDir directory;
    Script script;
    script.content = "echo $$ >" + directory.file("pid");
    Observer observer;
    ScriptExecutor executor(1, kDefaultScriptRoutine);
    executor.start();
    executor.execute(script, &observer, time::SecondsDuration(0));
    const pid_t id = helpers::pidIn(directory.file("pid"));
    reaped(id, reaper);
    helpers::Bystander bystander(id);
    if (bystander.id() != id) {
        return 2;
    }
    // The second look from here has begun after the stranger.
    const auto before = observer.timeouts();
    if (!observer.waitForTimeouts(before + 2)) {
        return 3;
    }
    noticed = true;
    if (!observer.waitForEnds(1) || observer.texts().back() != " finished -1") {
        return 6;
    }
    if (!bystander.lived()) {
        return 4;
    }
    return reaper == Reaper::System || ::waitpid(id, nullptr, 0) == id ? 0 : 5;
}

class ReusedIds : public testing::TestWithParam<Reaper> {
  protected:
    void SetUp() override {
        VORN_REQUIRE_ROOT();
        if (helpers::kEmulated) {
            GTEST_SKIP() << "an emulator has no clone3, which chooses the id of a process";
        }
    }
};

INSTANTIATE_TEST_SUITE_P(, ReusedIds, testing::Values(Reaper::System, Reaper::Foreign),
                         [](const auto& reaper) {
                             return reaper.param == Reaper::System ? "SigchldIgnored"
                                                                   : "ForeignReaper";
                         });

TEST_P(ReusedIds, ATimeLimitHitsNobodyWhoGotTheIdOfTheChild) {
    constexpr helpers::RefusedCall kGroupByDescriptor{SYS_pidfd_send_signal, EINVAL, 3, ~0U, 4};
    const struct {
        const char* name;
        bool ownGroup;
        std::optional<helpers::RefusedCall> refused{};
    } rows[] = {
        {"group of the service", false},
        {"own group", true},
        {"own group, before Linux 6.9", true, kGroupByDescriptor},
    };
    for (const auto& row : rows) {
        auto limit = 1000ms;
        const auto run = [&](const auto&) {
            return row.refused && !helpers::refuse(*row.refused)
                       ? 6
                       : killLate(GetParam(), row.ownGroup, limit);
        };
        auto result = helpers::runInPidNamespace(run);
        for (; result.exitCode == kTooLate && limit < 16s; limit *= 2) {
            result = helpers::runInPidNamespace(run);
        }
        VORN_REQUIRE_NAMESPACE(result);
        EXPECT_EQ(result.exitCode, 0) << row.name;
    }
}

TEST_P(ReusedIds, ADeadlineHitsNobodyWhoGotTheIdOfTheScript) {
    const auto result =
        helpers::runInPidNamespace([&](const auto&) { return killScript(GetParam()); });
    VORN_REQUIRE_NAMESPACE(result);
    EXPECT_EQ(result.exitCode, 0);
}

}  // namespace
