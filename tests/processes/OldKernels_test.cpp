// SPDX-License-Identifier: MIT
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/executable/Executable.h>

#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/refusedCalls.h"

namespace {

using namespace vorn::common;
using executable::Executable;
using namespace std::chrono_literals;

constexpr long kPidfdSendSignal = 424;
constexpr std::uint32_t kClonePidfd = 0x1000;
constexpr std::uint32_t kWaitByDescriptor = 3;

bool nothingIsLeft() {
    return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

/// Everything that a process descriptor is good for. "" or what went wrong.
std::string startWaitAndKill() {
    {
        Executable program({"/bin/sh", "-c", "echo x; exit 3"}, {.timeout = 1h});
        program.execSync();
        if (program.getExitCode() != 3 || program.readFromStdOut() != "x\n") {
            return "exit status or output";
        }
    }
    {
        Executable program({"/bin/sleep", "1000"}, {.timeout = 20ms});
        program.execSync();
        if (program.getStatus() != Executable::TimedOut) {
            return "time limit";
        }
    }
    {
        Executable program({"/bin/sh", "-c", "/bin/sleep 1000 & wait"},
                           {.timeout = 500ms, .ownProcessGroup = true});
        program.execSync();
        // The grandchild holds the pipe, so the read ends only when it is gone.
        if (program.readFromStdOut() != "") {
            return "group";
        }
    }
    {
        Executable program({"/bin/sleep", "1000"}, {});
        program.execAsync({});
    }
    ScriptContext context;
    context.request.script.content = "exit 5";
    if (kDefaultScriptRoutine(&context) != 5) {
        return "script";
    }
    return nothingIsLeft() ? "" : "a child is left";
}

TEST(OldKernels, StartingWaitingAndKillingWorkWithoutProcessDescriptors) {
    if (helpers::kEmulated) {
        GTEST_SKIP() << "an emulator does not run programs that filter system calls";
    }
    const struct {
        const char* name;
        helpers::RefusedCall call;
    } rows[] = {
        {"no descriptor (before 5.2, with the error of a filter)",
         {SYS_clone, EINVAL, 0, kClonePidfd, kClonePidfd}},
        {"no wait by descriptor (before 5.4)", {SYS_waitid, EINVAL, 0, ~0U, kWaitByDescriptor}},
        {"no signal by descriptor (before 5.1)", {kPidfdSendSignal, ENOSYS}},
        {"no signal to a group by descriptor (before 6.9)", {kPidfdSendSignal, EINVAL, 3, ~0U, 4}},
        {"no signal by descriptor (forbidden)", {kPidfdSendSignal, EPERM}},
    };
    for (const auto& row : rows) {
        const auto result = helpers::runInChild([&](const auto& report) {
            if (!helpers::refuse(row.call)) {
                return 90;
            }
            report(startWaitAndKill());
            return 0;
        });
        if (result.exitCode == 90) {
            GTEST_SKIP() << "needs a kernel with filters for system calls (seccomp)";
        }
        EXPECT_EQ(result.report, "") << row.name;
        EXPECT_EQ(result.exitCode, 0) << row.name;
    }
}

TEST(OldKernels, AServiceWithoutADescriptorToSpareStartsAllTheSame) {
    if (helpers::kAddressSanitizer) {
        GTEST_SKIP() << "the sanitizers of this build need descriptors for their own checks";
    }
    const auto result = helpers::runInChild([](const auto& report) {
        rlimit pipesOnly{};
        {
            const Executable::Pipes pipes;
            pipesOnly.rlim_cur = pipesOnly.rlim_max = static_cast<rlim_t>(
                1 + std::max({pipes.out[0], pipes.out[1], pipes.err[0], pipes.err[1]}));
        }
        ::setrlimit(RLIMIT_NOFILE, &pipesOnly);
        report(startWaitAndKill());
        return 0;
    });
    EXPECT_EQ(result.report, "");
    EXPECT_EQ(result.exitCode, 0);
}

}  // namespace
