// Settings and counters that survive whatever happens to the service.

#include <gtest/gtest.h>

#include <csignal>

#include "helpers/wait_until.h"
#include "programs.h"

namespace gateway_tests {

namespace {

std::string settings(const RunningService& service) {
    return service.control({"--json", "settings"}).output;
}

}  // namespace

TEST(Settings, ANewServiceShowsItsDefaults) {
    RunningService service;
    const Outcome outcome = service.control({"settings"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output,
              "heartbeat      10\n"
              "jobLimit       4\n"
              "secret         false\n"
              "starts         1\n"
              "scripts        0\n"
              "programs       0\n");
}

TEST(Settings, AWrongValueIsRefusedAndChangesNothing) {
    RunningService service;
    const std::pair<std::vector<std::string>, std::string> rows[] = {
        {{"set", "heartbeat", "0"}, "\"value\": a whole number from 1 to 3600 is expected"},
        {{"set", "heartbeat", "3601"}, "\"value\": a whole number from 1 to 3600 is expected"},
        {{"set", "heartbeat", "often"}, "\"value\": a whole number from 1 to 3600 is expected"},
        {{"set", "jobLimit", "5"}, "\"value\": a whole number from 1 to 4 is expected"},
        {{"set", "starts", "0"}, "\"name\": there is no setting \"starts\""},
    };
    for (const auto& [arguments, complaint] : rows) {
        const Outcome outcome = service.control(arguments);
        EXPECT_EQ(outcome.exitCode, 76) << complaint;
        EXPECT_NE(outcome.errors.find(complaint), std::string::npos) << outcome.errors;
    }
    EXPECT_EQ(service.control({"set", "heartbeat"}).exitCode, 64);
    EXPECT_EQ(member(settings(service), {"settings", "heartbeat"}), "10");
    EXPECT_EQ(member(settings(service), {"settings", "jobLimit"}), "4");
}

TEST(Settings, ANewLimitHoldsAtOnce) {
    RunningService service;
    EXPECT_EQ(service.control({"set", "jobLimit", "1"}).exitCode, 0);
    EXPECT_EQ(service.control({"run", "while ! test -e go; do sleep 0.05; done"}).exitCode, 0);
    EXPECT_EQ(service.control({"run", "true"}).exitCode, 75);
    EXPECT_EQ(service.control({"set", "jobLimit", "2"}).exitCode, 0);
    EXPECT_EQ(service.control({"exec", "/bin/true"}).exitCode, 0);
    service.directory().write("go", "");
}

TEST(Settings, SurviveARestart) {
    RunningService service;
    EXPECT_EQ(service.control({"set", "heartbeat", "77"}).exitCode, 0);
    EXPECT_EQ(service.control({"run", "--wait", "true"}).exitCode, 0);
    EXPECT_EQ(service.control({"exec", "/bin/true"}).exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
    service.start();
    const std::string line = settings(service);
    EXPECT_EQ(member(line, {"settings", "heartbeat"}), "77");
    EXPECT_EQ(member(line, {"counters", "starts"}), "2");
    EXPECT_EQ(member(line, {"counters", "scripts"}), "1");
    EXPECT_EQ(member(line, {"counters", "programs"}), "1");
}

TEST(Settings, SurviveAKillRightAfterTheAnswer) {
    RunningService service;
    for (int round = 0; round < 5; ++round) {
        const std::string value = std::to_string(100 + round);
        RawClient client = service.connect();
        client.ask("{\"request\":\"set\",\"name\":\"heartbeat\",\"value\":" + value + "}");
        service.process().signal(SIGKILL);
        service.process().wait();
        service.start();
        EXPECT_EQ(member(settings(service), {"settings", "heartbeat"}), value);
        EXPECT_EQ(member(settings(service), {"counters", "starts"}), std::to_string(round + 2));
    }
}

TEST(Settings, CountersReachTheDiskByThemselves) {
    RunningService service;
    EXPECT_EQ(service.control({"run", "--wait", "true"}).exitCode, 0);
    const std::string file = service.directory().file("run/settings.json");
    EXPECT_TRUE(helpers::waitUntil([&] {
        return helpers::contentOf(file).find("\"scripts\": 1") != std::string::npos;
    })) << helpers::contentOf(file);
    service.process().signal(SIGKILL);
    service.process().wait();
    service.start();
    EXPECT_EQ(member(settings(service), {"counters", "scripts"}), "1");
}

TEST(Settings, ADamagedFileIsReplacedByItsBackup) {
    RunningService service;
    EXPECT_EQ(service.control({"set", "heartbeat", "55"}).exitCode, 0);
    EXPECT_EQ(service.control({"set", "heartbeat", "56"}).exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
    service.directory().write("run/settings.json", "{\"version\": \"1\", \"sett");
    service.start();
    EXPECT_EQ(member(settings(service), {"settings", "heartbeat"}), "55");
}

TEST(Settings, ValuesThatMakeNoSenseAreLeftOut) {
    RunningService service;
    EXPECT_EQ(service.stop(), 0);
    service.directory().write("run/settings.json",
                              R"({"version": "1", "settings": {"heartbeat": 0, "jobLimit": 99,)"
                              R"("starts": -1, "scripts": 41, "unknown": true}})");
    service.start();
    const std::string line = settings(service);
    EXPECT_EQ(member(line, {"settings", "heartbeat"}), "10");
    EXPECT_EQ(member(line, {"counters", "starts"}), "1");
    EXPECT_EQ(member(line, {"counters", "scripts"}), "41");
    RawClient client = service.connect();
    EXPECT_EQ(member(client.ask("{\"request\":\"status\"}"), {"jobs", "limit"}), "4")
        << "the configuration bounds the setting";
}

}  // namespace gateway_tests
