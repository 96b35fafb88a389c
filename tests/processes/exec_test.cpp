// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include <gtest/gtest.h>

#include <vorn/common/exechelper/exec.h>

#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/expect_throw.h"

namespace {

using Strings = std::vector<std::string>;
using Exec = int (*)(const Strings&, const Strings&);

const Exec kForms[] = {vorn::common::exechelper::exec, vorn::common::ExecHelper::exec};

struct Outcome {
    int code;
    std::string output;
};

/// Runs `exec` in a child whose standard output is a file; code 200 + errno when it returns -1.
Outcome outcomeOf(Exec exec, const Strings& arguments, const Strings& environment) {
    const helpers::TempDir directory;
    const auto file = directory.file("output");
    const auto result = helpers::runInChild([&](const auto&) {
        const int fd = ::open(file.c_str(), O_CREAT | O_WRONLY, 0600);
        ::dup2(fd, STDOUT_FILENO);
        return exec(arguments, environment) == -1 ? 200 + errno : 255;
    });
    return {result.exitCode.value_or(-1), helpers::contentOf(file)};
}

TEST(Exec, ReplacesTheImage) {
    for (const auto exec : kForms) {
        const auto outcome =
            outcomeOf(exec, {"/bin/sh", "-c", "echo \"$1,$2\"; exit 5", "x", "a b", ""}, {});
        EXPECT_EQ(outcome.code, 5);
        EXPECT_EQ(outcome.output, "a b,\n");
    }
}

TEST(Exec, ProgramSeesItsBareFileName) {
    const helpers::TempDir directory;
    std::filesystem::create_symlink("/bin/sh", directory.path() / "shell");
    const struct {
        std::string path;
        std::string name;
    } rows[] = {
        {"/bin/sh", "sh"},
        {"//bin//sh", "sh"},
        {"/bin/../bin/sh", "sh"},
        {directory.file("shell"), "shell"},
    };
    for (const auto& row : rows) {
        const auto outcome =
            outcomeOf(kForms[0], {row.path, "-c", "tr '\\0' '\\n' </proc/$$/cmdline"},
                      {"PATH=/bin:/usr/bin"});
        EXPECT_EQ(outcome.output.substr(0, outcome.output.find('\n')), row.name) << row.path;
    }
}

TEST(Exec, APathWithoutSlashIsItsOwnNameAndRelative) {
    const helpers::TempDir directory;
    std::filesystem::create_symlink("/bin/sh", directory.path() / "here");
    const auto result = helpers::runInChild([&](const auto&) {
        if (::chdir(directory.path().c_str()) != 0) {
            return 250;
        }
        vorn::common::exechelper::exec({"here", "-c", "[ \"$0\" = here ] && exit 6"}, {});
        return 251;
    });
    EXPECT_EQ(result.exitCode, 6);
}

TEST(Exec, ProgramSeesExactlyTheEnvironment) {
    ::setenv("VORN_INHERITED", "yes", 1);
    const Strings environments[] = {{}, {"A=1"}, {"A=1", "B=x y", "A=2", "noEquals"}};
    for (const auto& environment : environments) {
        const auto outcome = outcomeOf(kForms[0], {"/usr/bin/env"}, environment);
        std::string expected;
        for (const auto& entry : environment) {
            expected += entry + "\n";
        }
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.output, expected);
    }
}

TEST(Exec, ReturnsOnFailureWithoutSearchingThePath) {
    const helpers::TempDir directory;
    const struct {
        std::string path;
        int error;
    } rows[] = {
        {directory.file("missing"), ENOENT},
        {"sh", ENOENT},
        {"", ENOENT},
        {directory.path().string(), EACCES},
        {directory.write("text", "no program"), EACCES},
    };
    for (const auto& row : rows) {
        for (const auto exec : kForms) {
            EXPECT_EQ(outcomeOf(exec, {row.path}, {"PATH=/bin"}).code, 200 + row.error) << row.path;
        }
    }
}

TEST(Exec, RefusesAnEmptyList) {
    for (const auto exec : kForms) {
        EXPECT_THROW_TEXT(exec({}, {"A=1"}), std::runtime_error, "arguments cannot be empty");
    }
}

}  // namespace
