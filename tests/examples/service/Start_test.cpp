// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <sysexits.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RunningService.h"
#include "helpers/environment.h"
#include "helpers/wait_until.h"

namespace service_tests {

using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string fieldOf(pid_t process, const std::string& name) {
    const auto status = helpers::contentOf("/proc/" + std::to_string(process) + "/status");
    const auto place = status.find("\n" + name + ":\t");
    const auto begin = place + name.size() + 3;
    return place == std::string::npos ? "" : status.substr(begin, status.find('\n', begin) - begin);
}

std::string descriptor(pid_t process, int number) {
    std::error_code error;
    return std::filesystem::read_symlink(
        "/proc/" + std::to_string(process) + "/fd/" + std::to_string(number), error);
}

}  // namespace

TEST(Configuration, ThatIsWrongIsRefusedWithTheReason) {
    struct Row {
        const char* part;
        std::string by;
        const char* reason;
    };
    const std::string expected = "user, group, settings, script, timeout, report are expected";
    for (const auto& [part, by, reason] : {
             Row{": 60", ": 4.7", "timeout: a number above 0 is expected, not 4.7"},
             Row{": 60", ": 1e3", "timeout: a number above 0 is expected, not 1e3"},
             Row{": 60", ": -1", "timeout: a number above 0 is expected, not -1"},
             Row{": 60", ": 0", "timeout: a number above 0 is expected, not 0"},
             Row{": 60", ": 60s", "timeout: a number above 0 is expected, not 60s"},
             Row{": 60", ": \"60\"", "timeout: a number above 0 is expected, not \"60\""},
             Row{": 60", ": 99999999999", "unsigned integer value expected"},
             Row{": 60", ": null", "timeout: a number above 0 is expected, not null"},
             Row{": 60", ": [60]", "timeout: a number above 0 is expected, not missing"},
             Row{": 60", ": 60, \"more\": 1", expected.c_str()},
             Row{": 60", ": 60, \"timeout\": 61", expected.c_str()},
             Row{"86400}", "86400", "configuration.json: Invalid token in object"},
             Row{"86400", "[86400, 1]", "report: a number above 0 is expected, not missing"},
             Row{"timeout", "timeuot", "timeout: a number above 0 is expected, not missing"},
             Row{"\"true\"", "5", "script: a plain text is expected, not 5"},
             Row{"\"true\"", "\"echo \\\"x\\\"\"", "script: a plain text is expected"},
             Row{"\"true\"", "\"true\", \"script\": \"false\"", expected.c_str()},
             Row{"86400}", "86400} {\"a\": 1}", "Invalid token in object"},
             Row{"86400}", "86400}, {}", expected.c_str()},
         }) {
        RunningService service(replacing(part, by));
        service.start();
        EXPECT_EQ(service.wait(), EX_CONFIG) << by;
        EXPECT_THAT(service.errors(), HasSubstr(reason));
    }
}

TEST(Configuration, ThatIsNoSmallFileIsRefused) {
    struct Row {
        std::function<void(const std::string& path)> make;
        const char* reason;
    };
    for (const auto& [make, reason] : {
             Row{[](const auto&) {}, "No such file or directory"},
             Row{[](const auto& path) { std::filesystem::create_directory(path); },
                 "Is a directory"},
             Row{[](const auto& path) { ::mkfifo(path.c_str(), 0600); }, "configuration.json: "},
             Row{[](const auto& path) { std::filesystem::create_symlink("/dev/zero", path); },
                 "configuration.json: "},
             Row{[](const auto& path) { std::filesystem::resize_file(path, 65537); },
                 "larger than 64 KiB"},
             Row{[](const auto& path) { std::filesystem::resize_file(path, 0); }, "out of range"},
         }) {
        RunningService service;
        const auto path = service.directory().file("configuration.json");
        if (std::string(reason) != "larger than 64 KiB" && std::string(reason) != "out of range") {
            std::filesystem::remove(path);
        }
        make(path);
        service.start();
        EXPECT_EQ(service.wait(), EX_CONFIG) << reason;
        EXPECT_THAT(service.errors(), HasSubstr(reason));
    }
}

TEST(Start, TellsHowItIsUsed) {
    const helpers::TempDir directory;
    for (const char* arguments : {"", "--help", "a b"}) {
        const auto errors = directory.file("errors");
        const int status = std::system((std::string(PROGRAM_PREFIX " " SERVICE_PROGRAM " ") +
                                        arguments + " 2>" + errors + " </dev/null")
                                           .c_str());
        EXPECT_EQ(WEXITSTATUS(status), EX_USAGE) << arguments;
        EXPECT_THAT(helpers::contentOf(errors), HasSubstr("usage: first-service"));
    }
}

TEST(Start, RootBecomesTheUserForGood) {
    VORN_REQUIRE_ROOT();
    RunningService service(running("id -un; id -Gn; touch /proc/1/root"));
    service.start();
    service.send("check\n");
    EXPECT_THAT(service.line(2), HasSubstr("daemon daemon "));
    EXPECT_EQ(fieldOf(service.pid(), "Uid"), "1\t1\t1\t1");
    EXPECT_EQ(fieldOf(service.pid(), "Gid"), "1\t1\t1\t1");
    for (const char* set : {"CapInh", "CapPrm", "CapEff", "CapAmb"}) {
        EXPECT_EQ(fieldOf(service.pid(), set), "0000000000000000") << set;
    }
}

TEST(Start, RootWithoutThatUserIsRefused) {
    VORN_REQUIRE_ROOT();
    RunningService service(replacing("daemon", "nobody-has-this-name"));
    service.start();
    EXPECT_EQ(service.wait(), EX_CONFIG);
    EXPECT_THAT(service.errors(), HasSubstr("Failed to get UID of nobody-has-this-name"));
}

TEST(Start, ClosedDescriptorsAreFilled) {
    if (helpers::kEmulated) {
        GTEST_SKIP() << "the emulator itself opens files";
    }
    for (const int closed : {STDOUT_FILENO, STDERR_FILENO}) {
        RunningService service(replacing("86400", "1"));
        service.start([=] { ::close(closed); });
        EXPECT_TRUE(
            helpers::waitUntil([&] { return descriptor(service.pid(), closed) == "/dev/null"; }));
        service.send("label open\n");
        EXPECT_TRUE(
            helpers::waitUntil([&] { return std::filesystem::exists(service.settings()); }));
        service.endInput();
        EXPECT_EQ(service.wait(), 0);
        EXPECT_THAT(helpers::contentOf(service.settings()), StartsWith("{"));
    }
    RunningService service;
    service.start([] {
        for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            ::close(number);
        }
    });
    EXPECT_EQ(service.wait(), 0);
}

TEST(Start, LeavesNoDescriptorOpen) {
    RunningService service;
    service.start();
    EXPECT_THAT(service.ask("status"), StartsWith("ok"));
    for (int number = 3; number < 64 && !helpers::kEmulated; ++number) {
        const auto target = descriptor(service.pid(), number);
        EXPECT_TRUE(target.empty() || target.find("eventfd") != std::string::npos) << target;
    }
}

}  // namespace service_tests
