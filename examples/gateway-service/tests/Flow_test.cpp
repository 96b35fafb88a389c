// SPDX-License-Identifier: MIT

// The flow of the demo and of the README, through both programs.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/wait_until.h"
#include "programs.h"

namespace gateway_tests {

namespace {

std::string identity() {
    return R"(, "identity": {"user": "daemon", "group": "daemon", "capabilities": "cap_kill"})";
}

}  // namespace

TEST(Flow, ThreeScriptsAndTheStatus) {
    RunningService service;
    const Outcome success = service.control({"run", "--wait", "echo fine"});
    EXPECT_EQ(success.exitCode, 0) << success.errors;
    EXPECT_NE(success.output.find("accepted "), std::string::npos);
    EXPECT_NE(success.output.find("exited with 0\n"), std::string::npos);
    EXPECT_EQ(service.control({"run", "--wait", "exit 3"}).exitCode, 3);
    const Outcome late = service.control({"run", "--wait", "--timeout", "1", "exec sleep 600"});
    EXPECT_EQ(late.exitCode, 124) << late.errors;
    EXPECT_NE(late.output.find("timed out: its shell was killed, what it had started goes on\n"),
              std::string::npos)
        << late.output;
    const Outcome status = service.control({"status"});
    EXPECT_EQ(status.exitCode, 0);
    EXPECT_NE(status.output.find("service        in service, health ok\n"), std::string::npos)
        << status.output;
    EXPECT_EQ(service.process().output(), "fine\n");
    EXPECT_EQ(service.stop(), 0);
}

TEST(Flow, ADescriptionCommandsNoTerminal) {
    RunningService service;
    EXPECT_EQ(
        service.control({"run", "--description", "a\x1b[31m\xc2\x9b[2J", "sleep 600"}).exitCode, 0);
    const Outcome status = service.control({"status"});
    EXPECT_NE(status.output.find("  a?[31m?[2J\n"), std::string::npos) << status.output;
    EXPECT_NE(service.process().errors().find(": a.[31m.[2J\n"), std::string::npos)
        << service.process().errors();
    const Outcome json = service.control({"--json", "status"});
    EXPECT_NE(json.output.find(R"("a\u001b[31m\u009b[2J")"), std::string::npos) << json.output;
    // The next one means at once; two of one kind may arrive as one.
    service.process().signal(SIGINT);
    EXPECT_EQ(service.stop(), 0);
}

TEST(Flow, BecomesTheConfiguredUser) {
    VORN_REQUIRE_ROOT();
    RunningService service(identity());
    EXPECT_NE(service.process().errors().find("now user daemon"), std::string::npos);
    EXPECT_EQ(service.control({"run", "--wait", "test $(id -un) = daemon"}).exitCode, 0);
    const Outcome capabilities = service.control(
        {"run", "--wait", "grep -q '^CapEff:.*0000000000000020$' /proc/self/status"});
    EXPECT_EQ(capabilities.exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
    EXPECT_FALSE(std::filesystem::exists(service.socket()));
}

TEST(Flow, ScriptsGetTheirEnvironmentAndTheirTextUnchanged) {
    RunningService service;
    const std::string script =
        "printf '%s|%s|a\\\\nb\\n' \"$A\" \"$PATH\" > out; test \"$(echo '\"')\" = '\"'";
    EXPECT_EQ(
        service.control({"run", "--wait", "--env", "A=1", "--env", "PATH=/bin", script}).exitCode,
        0);
    EXPECT_EQ(helpers::contentOf(service.directory().file("out")), "1|/bin|a\\nb\n");
    EXPECT_EQ(service.control({"run", "--wait", "-"}, "exit 9\n").exitCode, 9);
}

TEST(Flow, ScriptsDoNotInheritTheServicesSignalsAndInput) {
    RunningService service;
    EXPECT_EQ(service.control({"run", "--wait", "kill -TERM $$; exit 1"}).exitCode, 125);
    EXPECT_EQ(service.control({"run", "--wait", "kill -PIPE $$; exit 1"}).exitCode, 125);
    EXPECT_EQ(service.control({"run", "--wait", "test $(wc -c) = 0"}).exitCode, 0);
}

TEST(Flow, JsonModePrintsTheServicesLines) {
    RunningService service;
    const Outcome run = service.control({"--json", "run", "--wait", "exit 3"});
    const std::size_t feed = run.output.find('\n');
    const std::string accepted = run.output.substr(0, feed);
    const std::string result = run.output.substr(feed + 1);
    EXPECT_EQ(member(accepted, {"answer"}), "\"accepted\"");
    EXPECT_EQ(member(result, {"result"}), "\"exited\"");
    EXPECT_EQ(member(result, {"exitCode"}), "3");
    EXPECT_EQ(member(result, {"uuid"}), member(accepted, {"uuid"}));
    const Outcome status = service.control({"--json", "status"});
    EXPECT_EQ(member(status.output, {"service", "health"}), "\"ok\"");
    EXPECT_EQ(member(status.output, {"communication", "state"}), "\"ok\"");
}

TEST(Flow, ATimeOutOfAScriptKillsItsShellAndSaysSo) {
    RunningService service;
    const Outcome late =
        service.control({"run", "--wait", "--timeout", "3", "(sleep 6; echo alive > left) & wait"});
    EXPECT_EQ(late.exitCode, 124);
    EXPECT_NE(late.output.find("what it had started goes on"), std::string::npos) << late.output;
    EXPECT_TRUE(helpers::waitUntil(
        [&] { return helpers::contentOf(service.directory().file("left")) == "alive\n"; }));
}

TEST(Flow, TheSocketHasADefault) {
    RunningService service;
    Launch launch{service.directory().path().string(), controlProgram(), {"status"}};
    launch.prepare = [&service] { ::setenv("GATEWAYD_SOCKET", service.socket().c_str(), 1); };
    EXPECT_EQ(runProgram(launch).exitCode, 0);
    launch.prepare = [] { ::setenv("GATEWAYD_SOCKET", "/no/such/socket", 1); };
    const Outcome none = runProgram(launch);
    EXPECT_EQ(none.exitCode, 69);
    EXPECT_NE(none.errors.find("cannot connect to \"/no/such/socket\""), std::string::npos);
}

TEST(Flow, TheUsualOptionsAndHints) {
    for (const char* option : {"-h", "--help", "-V", "--version"}) {
        const Outcome outcome = runControl({option});
        EXPECT_EQ(outcome.exitCode, 0) << option;
        EXPECT_NE(outcome.output.find("gwctl "), std::string::npos) << option;
    }
    const Outcome dashes = runControl({"socket", "exec", "/bin/sh", "-c", "x"});
    EXPECT_EQ(dashes.exitCode, 64);
    EXPECT_NE(dashes.errors.find("exec -- /bin/sh -c"), std::string::npos) << dashes.errors;
}

TEST(Flow, AnOutputThatTakesNothingIsAnError) {
    RunningService service;
    for (const char* command : {"status", "settings", "--help"}) {
        Launch launch{service.directory().path().string(), controlProgram(), {command}};
        launch.prepare = [&service] {
            ::setenv("GATEWAYD_SOCKET", service.socket().c_str(), 1);
            const int full = ::open("/dev/full", O_WRONLY);
            ::dup2(full, STDOUT_FILENO);
        };
        const Outcome outcome = runProgram(launch);
        EXPECT_EQ(outcome.exitCode, 74) << command;
        EXPECT_NE(outcome.errors.find("takes nothing"), std::string::npos) << outcome.errors;
    }
}

TEST(Flow, ExitCodesTellWhatWentWrong) {
    EXPECT_EQ(runControl({"no-such-socket", "status"}).exitCode, 69);
    EXPECT_EQ(runControl({"socket"}).exitCode, 64);
    EXPECT_EQ(runControl({"socket", "dance"}).exitCode, 64);
    EXPECT_EQ(runControl({"socket", "status", "--fast"}).exitCode, 64);
    EXPECT_EQ(runControl({"socket", "run", "--timeout", "soon", "true"}).exitCode, 64);
    EXPECT_EQ(runControl({"--help"}).exitCode, 0);
    RunningService service(R"(, "jobs": {"limit": 1})");
    const Outcome wrong = service.control({"run", "--timeout", "0", "true"});
    EXPECT_EQ(wrong.exitCode, 76);
    EXPECT_NE(wrong.errors.find("\"timeout\": a whole number from 1 to 3600"), std::string::npos);
    EXPECT_EQ(
        service
            .control({"run", "--description", "blocker", "while ! test -e go; do sleep 0.05; done"})
            .exitCode,
        0);
    const Outcome refused = service.control({"run", "true"});
    EXPECT_EQ(refused.exitCode, 75);
    EXPECT_NE(refused.errors.find("all 1 places"), std::string::npos);
    EXPECT_NE(service.control({"status"}).output.find("  blocker\n"), std::string::npos);
    service.directory().write("go", "");
    EXPECT_TRUE(helpers::waitUntil([&] {
        return service.control({"run", "--wait", "true"}).exitCode == 0;
    }));
}

}  // namespace gateway_tests
