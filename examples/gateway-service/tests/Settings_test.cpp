// SPDX-License-Identifier: MIT

// Settings and counters that survive whatever happens to the service.

#include <sys/mount.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/wait_until.h"
#include "programs.h"

namespace gateway_tests {

namespace {

const std::string kStatus = "{\"request\":\"status\"}";

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
    RunningService service(R"(, "settingsDelay": 1)");
    EXPECT_EQ(service.control({"run", "--wait", "true"}).exitCode, 0);
    const std::string file = service.settingsFile();
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
    service.directory().write("run/gatewayd.settings.json", "{\"version\": \"1\", \"sett");
    service.start();
    EXPECT_EQ(member(settings(service), {"settings", "heartbeat"}), "55");
}

TEST(Settings, NothingIsAcknowledgedThatIsNotStored) {
    RunningService service;
    EXPECT_EQ(service.control({"set", "heartbeat", "20"}).exitCode, 0);
    const std::string directory = service.directory().file("run");
    const std::string aside = service.directory().file("aside");
    RawClient client = service.connect();
    std::filesystem::rename(directory, aside);
    const std::string refused = client.ask(R"({"request":"set","name":"heartbeat","value":30})");
    EXPECT_EQ(member(refused, {"answer"}), "\"refused\"");
    EXPECT_NE(member(refused, {"reason"}).find("the settings cannot be stored: cannot create"),
              std::string::npos)
        << refused;
    const std::string status = client.ask(kStatus);
    EXPECT_EQ(member(status, {"service", "health"}), "\"minor failure\"");
    EXPECT_NE(member(status, {"settings"}), "\"ok\"");
    EXPECT_EQ(member(status, {"heartbeat", "period"}), "20");
    std::filesystem::rename(aside, directory);
    EXPECT_EQ(member(settings(service), {"settings", "heartbeat"}), "20");
    EXPECT_EQ(service.control({"set", "heartbeat", "40"}).exitCode, 0);
    EXPECT_EQ(member(client.ask(kStatus), {"service", "health"}), "\"ok\"");
    service.process().signal(SIGKILL);
    service.process().wait();
    service.start();
    EXPECT_EQ(member(settings(service), {"settings", "heartbeat"}), "40");
}

TEST(Settings, AMissingDirectoryIsToldAndHoldsUpNothingElse) {
    RunningService service(R"(, "settings": "none/s.json")");
    const Outcome outcome = service.control({"set", "heartbeat", "20"});
    EXPECT_EQ(outcome.exitCode, 75);
    EXPECT_NE(outcome.errors.find("No such file or directory"), std::string::npos);
    EXPECT_TRUE(service.shows({"service", "health"}, "\"minor failure\""));
    EXPECT_EQ(service.control({"exec", "/bin/true"}).exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
}

TEST(Settings, NothingIsAcknowledgedWithoutDescriptors) {
    if (helpers::kAddressSanitizer) {
        GTEST_SKIP() << "the sanitizer looks at memory through descriptors of its own";
    }
    RunningService service;
    EXPECT_TRUE(service.shows({"clients"}, "1")) << "the connection of the start is gone";
    RawClient client = service.connect();
    EXPECT_EQ(member(client.ask(kStatus), {"answer"}), "\"status\"");
    rlimit before{};
    ASSERT_EQ(::prlimit(service.process().id(), RLIMIT_NOFILE, nullptr, &before), 0);
    rlimit none = before;
    const std::string opened = "/proc/" + std::to_string(service.process().id()) + "/fd";
    none.rlim_cur = 0;  // becomes the lowest number that is free
    while (std::filesystem::is_symlink(opened + "/" + std::to_string(none.rlim_cur))) {
        ++none.rlim_cur;
    }
    ASSERT_EQ(::prlimit(service.process().id(), RLIMIT_NOFILE, &none, nullptr), 0);
    const std::string refused = client.ask(R"({"request":"set","name":"heartbeat","value":30})");
    EXPECT_EQ(member(refused, {"answer"}), "\"refused\"");
    EXPECT_NE(member(refused, {"reason"}).find("Too many open files"), std::string::npos)
        << refused;
    ASSERT_EQ(::prlimit(service.process().id(), RLIMIT_NOFILE, &before, nullptr), 0);
    EXPECT_EQ(member(client.ask(R"({"request":"set","name":"heartbeat","value":30})"),
                     {"settings", "heartbeat"}),
              "30");
}

TEST(Settings, AFullDiskCostsNothingThatWasStored) {
    VORN_REQUIRE_ROOT();
    RunningService service;
    EXPECT_EQ(service.stop(), 0);
    const std::string directory = service.directory().file("run");
    if (::mount("none", directory.c_str(), "tmpfs", 0, "size=64k,mode=755") != 0) {
        GTEST_SKIP() << "no file system can be mounted here";
    }
    service.start();
    EXPECT_EQ(service.control({"set", "heartbeat", "20"}).exitCode, 0);
    EXPECT_EQ(service.control({"set", "heartbeat", "21"}).exitCode, 0);
    {
        std::ofstream filler(directory + "/filler");
        filler << std::string(65536, 'x');
    }
    for (const char* value : {"30", "31", "32"}) {
        const Outcome outcome = service.control({"set", "heartbeat", value});
        EXPECT_EQ(outcome.exitCode, 75) << value;
        EXPECT_NE(outcome.errors.find("No space left on device"), std::string::npos)
            << outcome.errors;
    }
    service.process().signal(SIGKILL);
    service.process().wait();
    service.start();
    EXPECT_EQ(member(settings(service), {"settings", "heartbeat"}), "21");
    EXPECT_EQ(service.stop(), 0);
    EXPECT_EQ(::umount2(directory.c_str(), MNT_DETACH), 0);
}

TEST(Settings, AnotherVersionWipesNothing) {
    RunningService service;
    EXPECT_EQ(service.control({"set", "heartbeat", "55"}).exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
    const std::string newer = R"({"version": "2", "settings": {"pulse": 7}})";
    std::filesystem::copy_file(service.settingsFile(), service.settingsFile() + ".bak",
                               std::filesystem::copy_options::overwrite_existing);
    service.directory().write("run/gatewayd.settings.json", newer);
    service.start();
    EXPECT_EQ(member(settings(service), {"settings", "heartbeat"}), "55");
    EXPECT_EQ(helpers::contentOf(service.settingsFile() + ".unreadable"), newer);
    EXPECT_TRUE(service.logs("version \"2\" is not known, kept as "));
    EXPECT_TRUE(service.shows({"service", "health"}, "\"minor failure\""));
}

TEST(Settings, AreSharedWithNobody) {
    RunningService service;
    const std::string where = service.directory().path().string();
    const Outcome second = runProgram(
        {where,
         gatewaydProgram(),
         {service.directory().write(
             "second.json",
             R"({"socket": "run/second.sock", "settings": "run/gatewayd.settings.json"})")}});
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_NE(second.errors.find("another service holds"), std::string::npos) << second.errors;
    Process third({where,
                   gatewaydProgram(),
                   {service.directory().write("third.json", R"({"socket": "run/third.sock"})")}});
    EXPECT_TRUE(helpers::waitUntil([&] {
        return std::filesystem::exists(service.directory().file("run/third.settings.json"));
    })) << third.errors();
    third.signal(SIGTERM);
    EXPECT_EQ(third.wait(), 0);
}

TEST(Settings, WhatIsNoFileIsLeftAlone) {
    const helpers::TempDir directory;
    std::filesystem::create_directories(directory.file("data/precious"));
    const Outcome outcome =
        runProgram({directory.path().string(),
                    gatewaydProgram(),
                    {directory.write("c.json", R"({"socket": "s", "settings": "data"})")}});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("\"data\" is no regular file"), std::string::npos)
        << outcome.errors;
    EXPECT_TRUE(std::filesystem::is_directory(directory.file("data/precious")));
}

TEST(Settings, OthersLeaveTheHeartbeatAlone) {
    RunningService service;
    EXPECT_EQ(service.control({"set", "heartbeat", "2"}).exitCode, 0);
    RawClient client = service.connect();
    EXPECT_TRUE(helpers::waitUntil(
        [&] {
            client.ask(R"({"request":"set","name":"jobLimit","value":3})");
            client.ask(R"({"request":"set","name":"heartbeat","value":2})");
            return std::stoi(member(client.ask(kStatus), {"heartbeat", "count"})) >= 1;
        },
        std::chrono::seconds(20)));
}

TEST(Settings, CountersReachTheDiskLazilyAndAtTheEnd) {
    RunningService service(R"(, "settingsDelay": 86400)");
    const std::string before = helpers::contentOf(service.settingsFile());
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(service.control({"run", "--wait", "sleep 0.1"}).exitCode, 0);
    }
    EXPECT_EQ(helpers::contentOf(service.settingsFile()), before);
    EXPECT_EQ(service.stop(), 0);
    EXPECT_NE(helpers::contentOf(service.settingsFile()).find("\"scripts\": 20"),
              std::string::npos);
}

TEST(Settings, ValuesThatMakeNoSenseAreLeftOut) {
    RunningService service;
    EXPECT_EQ(service.stop(), 0);
    service.directory().write("run/gatewayd.settings.json",
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
    EXPECT_NE(helpers::contentOf(service.settingsFile() + ".unreadable").find("\"starts\": -1"),
              std::string::npos)
        << "a copy is kept";
}

}  // namespace gateway_tests
