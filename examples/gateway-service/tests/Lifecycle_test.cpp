// SPDX-License-Identifier: MIT

// Starting and ending the service.

#include <sys/socket.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/wait_until.h"
#include "programs.h"
#include "sockets.h"

namespace gateway_tests {

namespace {

const std::string kStatus = "{\"request\":\"status\"}";

Outcome runService(const helpers::TempDir& directory, const std::string& configuration) {
    return runProgram({directory.path().string(),
                       gatewaydProgram(),
                       {directory.write("gatewayd.json", configuration)}});
}

}  // namespace

TEST(Lifecycle, BothSignalsEndAnIdleServiceAndRemoveItsFiles) {
    RunningService service;
    for (const int signal : {SIGTERM, SIGINT}) {
        struct stat status {};
        ASSERT_EQ(::stat(service.socket().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0660U);
        service.process().signal(signal);
        EXPECT_EQ(service.process().wait(), 0) << service.process().errors();
        EXPECT_FALSE(std::filesystem::exists(service.socket()));
        EXPECT_FALSE(std::filesystem::exists(service.socket() + ".lock"));
        service.start();
    }
}

TEST(Lifecycle, RunningScriptsAreWaitedForAndReported) {
    RunningService service;
    RawClient client = service.connect();
    client.ask(
        "{\"request\":\"run\",\"timeout\":600,\"script\":\"while ! test -e go; do sleep "
        "0.05; done; exit 6\"}");
    service.process().signal(SIGTERM);
    EXPECT_TRUE(helpers::waitUntil([&] {
        return member(client.ask(kStatus), {"service", "operating"}) == "\"stopping\"";
    }));
    const std::string refused =
        client.ask("{\"request\":\"run\",\"timeout\":1,\"script\":\"true\"}");
    EXPECT_EQ(member(refused, {"reason"}), "\"the service is stopping\"");
    service.directory().write("go", "");
    EXPECT_EQ(member(client.line(), {"exitCode"}), "6");
    EXPECT_EQ(service.process().wait(), 0) << service.process().errors();
    EXPECT_FALSE(std::filesystem::exists(service.socket()));
}

TEST(Lifecycle, TimeOutsStillHoldWhileItStops) {
    RunningService service;
    RawClient client = service.connect();
    client.ask("{\"request\":\"run\",\"timeout\":1,\"script\":\"exec sleep 600\"}");
    service.process().signal(SIGTERM);
    EXPECT_EQ(member(client.line(), {"result"}), "\"timeout\"");
    EXPECT_EQ(service.process().wait(), 0);
}

TEST(Lifecycle, StoppingHasABound) {
    RunningService service(R"(, "jobs": {"stopTime": 1})");
    RawClient client = service.connect();
    client.ask(R"({"request":"run","timeout":600,"script":"exec sleep 600"})");
    service.process().signal(SIGTERM);
    EXPECT_EQ(member(client.line(), {"result"}), "\"cancelled\"");
    EXPECT_EQ(service.process().wait(), 0) << service.process().errors();
}

TEST(Lifecycle, WhatAProgramHasLeftBehindDoesNotDelayTheEnd) {
    RunningService service;
    RawClient client = service.connect();
    client.ask(
        R"({"request":"exec","timeout":600,"program":["/bin/sh","-c","sleep 100 & exec sleep 600"]})");
    client.ask(
        R"({"request":"exec","timeout":600,"program":["/bin/sh","-c","sleep 100 & exit 7"]})");
    EXPECT_EQ(member(client.line(), {"exitCode"}), "7");
    service.process().signal(SIGTERM);
    EXPECT_TRUE(helpers::waitUntil([&] {
        return member(client.ask(kStatus), {"service", "operating"}) == "\"stopping\"";
    }));
    service.process().signal(SIGINT);
    EXPECT_EQ(member(client.line(), {"result"}), "\"cancelled\"")
        << "the second signal ends the jobs at once";
    EXPECT_EQ(service.process().wait(), 0) << service.process().errors();
}

TEST(Lifecycle, TheConfigurationIsReadAgainOnSighup) {
    RunningService service(R"(, "jobs": {"longestTimeout": 5})");
    RawClient client = service.connect();
    const std::string request = R"({"request":"run","timeout":6,"script":"true"})";
    EXPECT_EQ(member(client.ask(request), {"answer"}), "\"error\"");
    service.configure(R"(, "jobs": {"longestTimeout": 6, "limit": 1}, "log": "error")");
    service.process().signal(SIGHUP);
    EXPECT_TRUE(helpers::waitUntil(
        [&] { return member(client.ask(request), {"answer"}) == "\"accepted\""; }));
    EXPECT_EQ(member(client.line(), {"exitCode"}), "0");
    EXPECT_EQ(service.process().errors().find("needs another start"), std::string::npos)
        << "the level is already that of errors";
    service.configure(R"(, "jobs": {"longestTimeout": 7.5}, "log": "info")");
    service.process().signal(SIGHUP);
    EXPECT_TRUE(service.logs("goes on with the old configuration: "));
    EXPECT_TRUE(service.logs("\"jobs.longestTimeout\": a whole number"));
    EXPECT_EQ(member(client.ask(request), {"answer"}), "\"accepted\"");
}

TEST(Lifecycle, ASecondInstanceOnALiveSocketIsAnError) {
    RunningService service;
    const Outcome second = runProgram({service.directory().path().string(),
                                       gatewaydProgram(),
                                       {service.directory().file("gatewayd.json")}});
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_NE(second.errors.find("another service holds"), std::string::npos) << second.errors;
    EXPECT_EQ(service.control({"status"}).exitCode, 0);
}

TEST(Lifecycle, AnotherProgramsSocketIsNotTakenAway) {
    const helpers::TempDir directory;
    const gateway::FileDescriptor other = gateway::listenAt(directory.file("s"));
    const Outcome outcome = runService(directory, R"({"socket": "s"})");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("another service listens on"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(directory.file("s")));
}

TEST(Lifecycle, TheSocketOfAKilledServiceIsReplaced) {
    RunningService service;
    service.process().signal(SIGKILL);
    EXPECT_EQ(service.process().wait(), 1000 + SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(service.socket()));
    EXPECT_EQ(service.control({"status"}).exitCode, 69);
    service.start();
    EXPECT_EQ(service.control({"status"}).exitCode, 0);
}

TEST(Lifecycle, AFileThatIsNoSocketStays) {
    const helpers::TempDir directory;
    directory.write("s", "precious");
    const Outcome outcome = runService(directory, R"({"socket": "s"})");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("exists and is not a socket"), std::string::npos);
    EXPECT_EQ(helpers::contentOf(directory.file("s")), "precious");
}

TEST(Lifecycle, AMissingPluginIsAWarning) {
    const helpers::TempDir plugins;
    const std::string file =
        plugins.write("plugins.json", R"({"plugins": [{"path": "/no/such/plugin.so"}]})");
    RunningService service(R"(, "plugins": ")" + file + R"(")");
    EXPECT_NE(service.process().errors().find("ERROR: Unable to load library"), std::string::npos);
    RawClient client = service.connect();
    EXPECT_EQ(member(client.ask(kStatus), {"service", "health"}), "\"warning\"");
}

TEST(Lifecycle, WithoutRootItStaysWhoItIs) {
    const helpers::TempDir directory;
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0777));
    const std::string configuration = directory.write(
        "gatewayd.json", R"({"socket": "s", "identity": {"user": "daemon", "group": "daemon"}})");
    Launch launch{directory.path().string(), gatewaydProgram(), {configuration}};
    launch.user = helpers::isRoot() ? 65534 : ::getuid();
    Process process(launch);
    ASSERT_TRUE(helpers::waitUntil([&] {
        return !process.running() || process.errors().find("in service") != std::string::npos;
    }));
    if (!process.running() && process.wait() == 126) {
        GTEST_SKIP() << "the build directory is closed to other users";
    }
    EXPECT_NE(process.errors().find("not started as root, stays user"), std::string::npos)
        << process.errors();
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait(), 0);
}

TEST(Lifecycle, TheShippedConfigurationServesAsItIs) {
    const helpers::TempDir directory;
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
    const std::string where = directory.path().string();
    const auto prepare = [&directory] {
        ::setenv("GATEWAYD_SOCKET", directory.file("run/g.sock").c_str(), 1);
    };
    Launch launch{where, gatewaydProgram(), {GATEWAYD_CONFIGURATION}};
    launch.prepare = prepare;
    Process service(launch);
    Launch ask{where, controlProgram(), {"status"}};
    ask.prepare = prepare;
    std::string status;
    EXPECT_TRUE(helpers::waitUntil([&] {
        status = runProgram(ask).output;
        return !service.running() || !status.empty();
    }));
    EXPECT_NE(status.find("in service, health ok\n"), std::string::npos) << service.errors();
    EXPECT_NE(status.find("\nsettings       ok\n"), std::string::npos) << status;
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
}

TEST(Lifecycle, AnUnknownUserIsAnError) {
    VORN_REQUIRE_ROOT();
    const helpers::TempDir directory;
    const Outcome outcome = runService(
        directory, R"({"socket": "s", "identity": {"user": "no-such-user", "group": "daemon"}})");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("Failed to get UID of no-such-user"), std::string::npos);
}

TEST(Lifecycle, ADirectoryThatCannotBeMadeTellsHowToNameAnother) {
    const helpers::TempDir directory;
    const Outcome outcome = runService(directory, R"({"socket": "missing/run/s"})");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("cannot make the directory \"missing/run\" of the socket "
                                  "(\"socket\" in the configuration, or GATEWAYD_SOCKET"),
              std::string::npos)
        << outcome.errors;
}

TEST(Lifecycle, WrongUsage) {
    const helpers::TempDir directory;
    const std::string where = directory.path().string();
    EXPECT_EQ(runProgram({where, gatewaydProgram(), {}}).exitCode, 2);
    for (const char* option : {"-h", "--help", "-V", "--version"}) {
        const Outcome outcome = runProgram({where, gatewaydProgram(), {option}});
        EXPECT_EQ(outcome.exitCode, 0) << option;
        EXPECT_NE(outcome.output.find("gatewayd "), std::string::npos) << option;
    }
    const Outcome wrong = runProgram({where, gatewaydProgram(), {"--verbose"}});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_NE(wrong.errors.find("usage: gatewayd"), std::string::npos);
    const Outcome missing = runProgram({where, gatewaydProgram(), {"missing.json"}});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.errors.find("configuration \"missing.json\": cannot be read: No such"),
              std::string::npos);
}

}  // namespace gateway_tests
