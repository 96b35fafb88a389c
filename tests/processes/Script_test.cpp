// SPDX-License-Identifier: MIT
#include <csignal>

#include <gtest/gtest.h>

#include <vorn/common/executable/Script.h>

#include "helpers/environment.h"
#include "helpers/processes.h"

namespace {

using vorn::common::executable::Executable;
using vorn::common::executable::Script;

const std::vector<std::string> kTools{"PATH=/bin:/usr/bin"};

/// The arguments that the shell itself was started with, one a line.
const char* const kShowArguments = "tr '\\0' '\\n' </proc/$$/cmdline; :";

TEST(Script, RunsTheTextWithTheShell) {
    Script script("echo \"$0\"; [ 1 = 1 ] && exit 5", {});
    script.execSync();
    EXPECT_EQ(script.getStatus(), Executable::Exited);
    EXPECT_EQ(script.getExitCode(), 5);
    EXPECT_EQ(script.readFromStdOut(), "sh\n");
}

TEST(Script, TextIsUnchangedWithoutAGroupAndWrappedWithOne) {
    const std::string text = kShowArguments;
    for (const bool group : {false, true}) {
        Script script(text, {.environment = kTools, .ownProcessGroup = group});
        script.execSync();
        EXPECT_EQ(script.readFromStdOut(),
                  "sh\n-c\n" + (group ? "\n" + text + "\nwait" : text) + "\n");
    }
}

TEST(Script, AGroupLivesAsLongAsItsBackgroundJobs) {
    const helpers::TempDir directory;
    Script script("(read x <" + directory.file("fifo") + "; echo done >" + directory.file("done") +
                      ") &\necho started >" + directory.file("started"),
                  {.ownProcessGroup = true});
    ASSERT_EQ(std::system(("mkfifo " + directory.file("fifo")).c_str()), 0);
    script.execAsync({});
    ASSERT_EQ(helpers::lineOf(directory.file("started")), "started");
    EXPECT_EQ(script.getStatus(), Executable::Running);
    std::ofstream(directory.file("fifo")) << "go\n";
    ASSERT_TRUE(helpers::waitUntil([&] { return script.getStatus() == Executable::Exited; }));
    EXPECT_EQ(helpers::contentOf(directory.file("done")), "done\n");
    EXPECT_EQ(script.getExitCode(), 0);
}

TEST(Script, DeliberateAGroupLosesTheStatusOfTheLastCommand) {
    const struct {
        std::string text;
        int status;
        bool ownGroup = true;
    } rows[] = {
        // without a group: the shell's own statuses
        {"false", 1, false},
        {"/nowhere/program", 127, false},
        {"/etc/passwd", 126, false},
        // with one: lost
        {"false", 0},
        {"/nowhere/program", 0},
        {"sh -c 'exit 5'", 0},
        // with one: kept
        {"exit 5", 5},
        {"false\nexit $?", 1},
        {"/nowhere/program\nexit $?", 127},
        {"sleep 0.01 & false; status=$?; wait; exit $status", 1},
    };
    for (const auto& row : rows) {
        Script script(row.text, {.environment = kTools, .ownProcessGroup = row.ownGroup});
        script.execSync();
        EXPECT_EQ(script.getExitCode(), row.status) << row.text;
    }
}

TEST(Script, WithControlGroupsTheShellIsGivenByItsPath) {
    VORN_REQUIRE_FAKE_ROOT();
    const helpers::TempDir directory;
    const helpers::FakeRoot root(directory.path());
    Script script("echo x",
                  {.cgroups = {{"cpu:scripts", "memory:m"}}, .chrootDir = root.path().string()});
    script.execSync();
    EXPECT_EQ(root.record(), "-g\ncpu:scripts\n-g\nmemory:m\n/bin/sh\n-c\necho x\n");
}

}  // namespace
