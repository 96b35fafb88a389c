// SPDX-License-Identifier: MIT

// Jobs: programs whose output comes back, scripts, ends that are asked for, and the timers beside
// them.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/wait_until.h"
#include "programs.h"

namespace gateway_tests {

namespace {

const std::string kStatus = "{\"request\":\"status\"}";

// Sanitizers and emulators need some themselves.
constexpr std::size_t kMuchMemory = std::size_t{helpers::kSlow ? 1024U : 128U} << 20U;

// The most memory that a process has ever had, in bytes.
std::size_t peakMemory(pid_t process) {
    const std::string status = helpers::contentOf("/proc/" + std::to_string(process) + "/status");
    const std::size_t place = status.find("VmHWM:");
    return place == std::string::npos ? 0 : std::stoul(status.substr(place + 6)) * 1024;
}

}  // namespace

TEST(Programs, OutputErrorsAndExitCodeComeBack) {
    RunningService service;
    const Outcome outcome = service.control({"exec", "--env", "A=x", "--", "/bin/sh", "-c",
                                             "printf 'out %s\\n' \"$A\"; echo err >&2; exit 5"});
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_EQ(outcome.output, "out x\n");
    EXPECT_EQ(outcome.errors, "err\n");
    EXPECT_EQ(service.process().output(), "");
}

TEST(Programs, ATimeOutEndsTheWholeGroup) {
    RunningService service;
    const Outcome outcome = service.control(
        {"exec", "--timeout", "3", "--", "/bin/sh", "-c", "echo before; sleep 600 & wait"});
    EXPECT_EQ(outcome.exitCode, 124);
    EXPECT_EQ(outcome.output, "before\n");
    EXPECT_NE(outcome.errors.find("it timed out"), std::string::npos);
}

TEST(Programs, OneThatASignalKillsIsToldSo) {
    RunningService service;
    EXPECT_EQ(service.control({"exec", "--", "/bin/sh", "-c", "kill -KILL $$"}).exitCode, 125);
}

TEST(Programs, ArbitraryBytesComeBackAsOneValidLine) {
    RunningService service;
    RawClient client = service.connect();
    const std::string accepted = client.ask(
        R"({"request":"exec","timeout":60,"program":["/bin/sh","-c","printf 'a\\000\\377\\033\\n'"]})");
    EXPECT_EQ(member(accepted, {"answer"}), "\"accepted\"") << accepted;
    EXPECT_EQ(member(client.line(), {"output"}), "\"a\\u0000\xef\xbf\xbd\\u001b\\n\"");
}

TEST(Programs, LongOutputIsCutAndSaysSo) {
    RunningService service;
    RawClient client = service.connect();
    client.ask(
        R"({"request":"exec","timeout":60,"program":["/usr/bin/head","-c","40000","/dev/zero"]})");
    const std::string result = client.line();
    EXPECT_EQ(member(result, {"cut"}), "true");
    EXPECT_EQ(member(result, {"output"}).size(), 32768U * 6 + 2);
}

TEST(Programs, BothOutputsAreTakenAtOnceHoweverMuchTheyAre) {
    RunningService service;
    RawClient client = service.connect();
    client.ask(
        R"({"request":"exec","timeout":60,"program":["/bin/sh","-c",)"
        R"("head -c 1000000 /dev/zero >&2; head -c 1000000 /dev/zero; head -c 9 /dev/zero >&2; exit 2"]})");
    const std::string result = client.line();
    EXPECT_EQ(member(result, {"exitCode"}), "2");
    EXPECT_EQ(member(result, {"cut"}), "true");
    EXPECT_EQ(member(result, {"output"}).size(), 32768U * 6 + 2);
    EXPECT_EQ(member(result, {"errors"}).size(), 32768U * 6 + 2);
}

TEST(Programs, OneThatWritesWithoutEndTakesNoMemory) {
    RunningService service;
    const Outcome outcome = service.control({"exec", "--timeout", "4", "/usr/bin/yes"});
    EXPECT_EQ(outcome.exitCode, 124);
    EXPECT_EQ(outcome.output.size(), 32768U);
    EXPECT_LT(peakMemory(service.process().id()), kMuchMemory);
}

TEST(Programs, WhatItLeavesBehindHoldsUpNeitherItsEndNorItsPlace) {
    RunningService service(R"(, "jobs": {"limit": 1})");
    const auto start = std::chrono::steady_clock::now();
    const Outcome outcome =
        service.control({"exec", "--", "/bin/sh", "-c", "yes & sleep 100 & echo $! >&2; exit 4"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_TRUE(service.shows({"jobs", "running"}, "[]"));
    EXPECT_EQ(service.control({"exec", "/bin/true"}).exitCode, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_LT(peakMemory(service.process().id()), kMuchMemory);
    // Nobody else ends what was left behind: it is in the group of the one that has told its id.
    const pid_t left = std::stoi(outcome.errors);
    const pid_t group = ::getpgid(left);
    ASSERT_GT(group, 1);
    ASSERT_NE(group, ::getpgrp());
    EXPECT_EQ(::kill(-group, SIGKILL), 0);
}

TEST(Programs, WhatItLeavesBehindDelaysNoTimeOut) {
    RunningService service;
    const auto start = std::chrono::steady_clock::now();
    const Outcome outcome = service.control({"exec", "--timeout", "3", "--", "/bin/sh", "-c",
                                             "setsid sleep 40 & echo before; exec sleep 600"});
    EXPECT_EQ(outcome.exitCode, 124);
    EXPECT_EQ(outcome.output, "before\n");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST(Programs, ATimeOutEndsOneThatHasLeftItsGroup) {
    RunningService service;
    RawClient client = service.connect();
    client.ask(R"({"request":"exec","timeout":5,"program":["/usr/bin/perl","-e",)"
               R"("setpgrp(0, getpgrp(getppid)) or die; $| = 1; print 'moved'; sleep 600"]})");
    const std::string result = client.line();
    EXPECT_EQ(member(result, {"result"}), "\"timeout\"");
    EXPECT_EQ(member(result, {"output"}), "\"moved\"");
    EXPECT_TRUE(service.shows({"jobs", "running"}, "[]"));
}

// The kernel makes whoever executes a file with a lease wait for its holder.
TEST(Programs, AFileWithALeaseHoldsUpNobodyElse) {
    RunningService service;
    const std::string file = service.directory().file("leased");
    std::filesystem::copy_file("/bin/sh", file);
    const gateway::FileDescriptor holder(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    const auto before = std::signal(SIGIO, SIG_IGN);
    if (::fcntl(holder.get(), F_SETLEASE, F_WRLCK) != 0) {
        std::signal(SIGIO, before);
        GTEST_SKIP() << "no lease can be had here";
    }
    RawClient client = service.connect();
    const auto start = std::chrono::steady_clock::now();
    const std::string answer = client.ask(R"({"request":"exec","timeout":600,"program":[")" + file +
                                          R"(","-c","exec sleep 600"]})");
    EXPECT_EQ(member(answer, {"answer"}), "\"accepted\"");
    RawClient other = service.connect();
    EXPECT_EQ(member(other.ask(kStatus), {"answer"}), "\"status\"");
    other.ask(R"({"request":"cancel","uuid":)" + member(answer, {"uuid"}) + "}");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_EQ(::fcntl(holder.get(), F_SETLEASE, F_UNLCK), 0);
    std::signal(SIGIO, before);
    EXPECT_EQ(member(client.line(), {"result"}), "\"cancelled\"");
}

TEST(Programs, WhatCannotBeStartedSaysWhy) {
    RunningService service;
    const Outcome missing = service.control({"exec", "/no/such/program"});
    EXPECT_EQ(missing.exitCode, 125);
    EXPECT_NE(missing.errors.find("cannot execute \"/no/such/program\": No such file"),
              std::string::npos);
    const Outcome directory = service.control({"exec", "/tmp"});
    EXPECT_EQ(directory.exitCode, 125);
    EXPECT_NE(directory.errors.find("cannot execute \"/tmp\": Is a directory"), std::string::npos);
    EXPECT_EQ(service.control({"exec", "relative"}).exitCode, 76);
    EXPECT_EQ(service.control({"exec"}).exitCode, 64);
    RawClient client = service.connect();
    client.ask(R"({"request":"exec","timeout":60,"program":["/no/such/program"]})");
    EXPECT_EQ(member(client.line(), {"result"}), "\"failed\"");
    EXPECT_NE(client.ask(R"({"request":"exec","timeout":1,"program":[]})").find("absolute path"),
              std::string::npos);
}

TEST(Timers, TheHeartBeats) {
    RunningService service;
    EXPECT_EQ(service.control({"set", "heartbeat", "1"}).exitCode, 0);
    RawClient client = service.connect();
    EXPECT_EQ(member(client.ask(kStatus), {"heartbeat", "period"}), "1");
    EXPECT_TRUE(helpers::waitUntil([&] {
        const std::string status = client.ask(kStatus);
        return std::stoi(member(status, {"heartbeat", "count"})) >= 2 &&
               member(status, {"heartbeat", "last"}) != "\"undefined\"";
    }));
}

TEST(Timers, ReportsAreMadeWhenTheClockIsRound) {
    RunningService service(R"(, "report": 1)");
    EXPECT_EQ(service.control({"exec", "/bin/true"}).exitCode, 0);
    const std::string text =
        ".000Z in service, health ok, 0 scripts and 1 programs started, "
        "0 running\n";
    EXPECT_TRUE(helpers::waitUntil([&] {
        return service.process().errors().find(text) != std::string::npos;
    })) << service.process().errors();
}

namespace {

// Starts forty scripts that end by their time limit alone.
void startForty(RawClient& client, int timeout) {
    client.ask(R"({"request":"set","name":"jobLimit","value":44})");
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(member(client.ask(R"({"request":"run","timeout":)" + std::to_string(timeout) +
                                    R"(,"script":"exec sleep 600"})"),
                         {"answer"}),
                  "\"accepted\"");
    }
}

}  // namespace

TEST(Scripts, ShortOnesDoNotWaitBehindLongOnes) {
    RunningService service(R"(, "jobs": {"limit": 44, "stopTime": 1})");
    RawClient client = service.connect();
    startForty(client, 600);
    // No answer is waited for as long as those take.
    for (int i = 0; i < 5; ++i) {
        RawClient other = service.connect();
        other.ask(R"({"request":"run","timeout":60,"script":"exit 3"})");
        EXPECT_EQ(member(other.line(), {"exitCode"}), "3");
    }
}

TEST(Scripts, TimeOutsOfManyAreToldWhenTheyAreDue) {
    RunningService service(R"(, "jobs": {"limit": 44})");
    RawClient client = service.connect();
    startForty(client, 5);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(member(client.line(), {"result"}), "\"timeout\"");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

namespace {

std::string accepted(const Outcome& outcome) {
    const std::string begin = "accepted ";
    EXPECT_EQ(outcome.output.compare(0, begin.size(), begin), 0) << outcome.output;
    return outcome.output.substr(begin.size(), 36);
}

std::string unquoted(const std::string& text) {
    return text.size() < 2 ? text : text.substr(1, text.size() - 2);
}

}  // namespace

TEST(Cancel, EndsAScript) {
    RunningService service;
    RawClient client = service.connect();
    const std::string uuid = unquoted(member(
        client.ask(R"({"request":"run","timeout":600,"script":"exec sleep 600"})"), {"uuid"}));
    // One that is just being started is asked for again.
    EXPECT_TRUE(helpers::waitUntil([&] {
        return service.control({"cancel", uuid}).output == "cancelled " + uuid + "\n";
    }));
    EXPECT_EQ(member(client.line(), {"result"}), "\"cancelled\"");
    EXPECT_TRUE(service.shows({"jobs", "running"}, "[]"));
    const Outcome result = service.control({"result", uuid});
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_NE(result.output.find("cancelled: its shell was killed"), std::string::npos);
}

TEST(Cancel, EndsAProgramWithItsGroup) {
    RunningService service;
    RawClient client = service.connect();
    const std::string uuid = unquoted(member(
        client.ask(
            R"({"request":"exec","timeout":600,"program":["/bin/sh","-c","echo begun; sleep 600 & wait"]})"),
        {"uuid"}));
    EXPECT_EQ(service.control({"cancel", uuid}).exitCode, 0);
    const std::string result = client.line();
    EXPECT_EQ(member(result, {"result"}), "\"cancelled\"");
    EXPECT_EQ(member(result, {"exitCode"}), "");
    EXPECT_TRUE(service.logs("job " + uuid + ": cancelled by user "));
}

TEST(Cancel, OneThatHasEndedOrNeverWasIsRefused) {
    RunningService service;
    const std::string uuid = accepted(service.control({"run", "--wait", "true"}));
    for (const std::string& job : {uuid, std::string("11111111-1111-4111-a111-111111111111")}) {
        const Outcome outcome = service.control({"cancel", job});
        EXPECT_EQ(outcome.exitCode, 75);
        EXPECT_NE(outcome.errors.find("no such job runs"), std::string::npos) << outcome.errors;
    }
    EXPECT_EQ(service.control({"cancel", "x"}).exitCode, 76);
}

TEST(Cancel, ManyAtOnceAreAllEndedAndTold) {
    RunningService service;
    RawClient client = service.connect();
    RawClient other = service.connect();
    for (int round = 0; round < 30; ++round) {
        const std::string answer =
            client.ask(R"({"request":"run","timeout":600,"script":"exec sleep 600"})");
        const std::string request =
            R"({"request":"cancel","uuid":)" + member(answer, {"uuid"}) + "}";
        // At once, so that some are still being started.
        while (member(other.ask(request), {"answer"}) != "\"cancel\"") {
        }
        EXPECT_EQ(member(client.line(), {"result"}), "\"cancelled\"");
        ASSERT_TRUE(helpers::waitUntil([&] {
            return member(other.ask("{\"request\":\"status\"}"), {"jobs", "running"}) == "[]";
        }));
    }
}

TEST(Result, CanBeAskedForLater) {
    RunningService service;
    const std::string script = accepted(service.control({"run",
                                                         "while ! test -e go; do sleep 0.05; "
                                                         "done; exit 6"}));
    const Outcome running = service.control({"result", script});
    EXPECT_EQ(running.exitCode, 75);
    EXPECT_EQ(running.output, "running\n");
    service.directory().write("go", "");
    EXPECT_TRUE(helpers::waitUntil([&] {
        return service.control({"result", script}).output == "exited with 6\n";
    }));
    std::string program;
    {
        RawClient gone = service.connect();
        program = unquoted(member(
            gone.ask(
                R"({"request":"exec","timeout":60,"program":["/bin/sh","-c","echo out; echo err >&2; exit 5"]})"),
            {"uuid"}));
    }
    Outcome later;
    EXPECT_TRUE(helpers::waitUntil([&] {
        later = service.control({"result", program});
        return later.exitCode == 5;
    }));
    EXPECT_EQ(later.output, "out\n");
    EXPECT_EQ(later.errors, "err\n");
    const Outcome unknown = service.control({"result", "11111111-1111-4111-a111-111111111111"});
    EXPECT_EQ(unknown.exitCode, 75);
    EXPECT_NE(unknown.errors.find("no such job is known"), std::string::npos);
}

TEST(Result, TheLast32AreKept) {
    RunningService service;
    const std::string first = accepted(service.control({"run", "--wait", "exit 1"}));
    RawClient client = service.connect();
    for (int i = 0; i < 32; ++i) {
        ASSERT_TRUE(helpers::waitUntil([&] {
            return member(client.ask(R"({"request":"exec","timeout":60,"program":["/bin/true"]})"),
                          {"answer"}) == "\"accepted\"";
        }));
        EXPECT_EQ(member(client.line(), {"exitCode"}), "0");
    }
    EXPECT_NE(service.control({"result", first}).errors.find("no such job is known"),
              std::string::npos);
}

}  // namespace gateway_tests
