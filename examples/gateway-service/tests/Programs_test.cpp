// Programs whose output comes back, and the timers beside them.

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/wait_until.h"
#include "programs.h"

namespace gateway_tests {

namespace {

const std::string kStatus = "{\"request\":\"status\"}";

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
        {"exec", "--timeout", "1", "--", "/bin/sh", "-c", "echo before; sleep 600 & wait"});
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

TEST(Programs, OneThatKeepsItsOutputOpenHoldsUpNobodyElse) {
    RunningService service;
    RawClient slow = service.connect();
    slow.ask(R"({"request":"exec","timeout":60,"program":["/bin/sh","-c",)"
             R"("(while ! test -e go; do sleep 0.05; done; echo late) & exit 0"]})");
    EXPECT_EQ(service.control({"exec", "/bin/true"}).exitCode, 0);
    service.directory().write("go", "");
    EXPECT_EQ(member(slow.line(), {"output"}), "\"late\\n\"");
}

TEST(Programs, RefusalsSayWhy) {
    RunningService service;
    const Outcome missing = service.control({"exec", "/no/such/program"});
    EXPECT_EQ(missing.exitCode, 75);
    EXPECT_NE(missing.errors.find("cannot execute \"/no/such/program\": No such file"),
              std::string::npos);
    EXPECT_EQ(service.control({"exec", "relative"}).exitCode, 76);
    EXPECT_EQ(service.control({"exec"}).exitCode, 64);
    RawClient client = service.connect();
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

TEST(FileCheck, FilesAreReadAgainAndAgainAndAChangeIsAWarning) {
    const helpers::TempDir plugins;
    const std::string file = plugins.write("plugins.json", R"({"plugins": []})");
    RunningService service(R"(, "maintenance": {"share": 50}, "plugins": ")" + file + R"(")");
    RawClient client = service.connect();
    EXPECT_TRUE(helpers::waitUntil(
        [&] { return std::stoi(member(client.ask(kStatus), {"checkRounds"})) >= 2; }));
    EXPECT_EQ(member(client.ask(kStatus), {"service", "health"}), "\"ok\"");
    plugins.write("plugins.json", R"({"plugins": [ ]})");
    EXPECT_TRUE(helpers::waitUntil([&] {
        return member(client.ask(kStatus), {"service", "health"}) == "\"warning\"";
    }));
    EXPECT_NE(service.process().errors().find("plugins.json\" has changed"), std::string::npos);
    EXPECT_EQ(service.stop(), 0);
}

}  // namespace gateway_tests
