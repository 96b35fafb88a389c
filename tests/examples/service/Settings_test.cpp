// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/stat.h>
#include <sysexits.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RunningService.h"
#include "helpers/wait_until.h"

namespace service_tests {

using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string documentOf(const std::string& version, const std::string& label) {
    return R"({"version": ")" + version + R"(", "settings": {"label": ")" + label + R"("}})";
}

// As anybody may have left it, for the user that the service becomes.
void leave(const RunningService& service, const std::string& content) {
    service.directory().write("settings.json", content);
    std::filesystem::permissions(service.settings(), std::filesystem::perms(0666));
}

}  // namespace

TEST(Settings, SurviveKill) {
    RunningService service;
    service.start();
    EXPECT_EQ(service.ask("label boiler room"), "ok");
    service.signal(SIGKILL);
    EXPECT_EQ(service.wait(), 1000 + SIGKILL);
    service.start();
    EXPECT_EQ(service.ask("status"), "ok label=boiler room, last check: none");
    EXPECT_EQ(std::filesystem::status(service.settings()).permissions(),
              std::filesystem::perms(0600));
}

TEST(Settings, AreCompleteWheneverTheServiceIsKilled) {
    RunningService service;
    for (int round = 0; round < 10; ++round) {
        service.start();
        std::string requests;
        for (int i = 0; i < 100; ++i) {
            requests += "label " + std::string(static_cast<std::size_t>(1 + i % 90), 'x') + '\n';
        }
        service.send(requests);
        EXPECT_EQ(service.line(static_cast<std::size_t>(1 + 7 * round)), "ok");
        service.signal(SIGKILL);
        service.wait();
        service.start();
        EXPECT_THAT(service.ask("status"), StartsWith("ok label=x"));
        service.signal(SIGKILL);
        service.wait();
    }
}

TEST(Settings, ThatCannotBeUsedAreKeptAndEndTheService) {
    for (const auto& content :
         {std::string("{"), std::string(), std::string("{}"), std::string("[1]"),
          std::string("nul\0l", 5), documentOf("2", "later"), std::string(65537, ' '),
          std::string(60000, '['), std::string(R"({"version": 1, "settings": {"label": "x"}})"),
          std::string(R"({"version": "1", "settings": {"label": 5}})"),
          std::string(R"({"version": "1", "settings": "label"})")}) {
        RunningService service;
        leave(service, content);
        service.start();
        EXPECT_EQ(service.wait(), EX_UNAVAILABLE) << content.substr(0, 80);
        EXPECT_THAT(service.errors(), HasSubstr("mend or move away " + service.settings()));
        EXPECT_EQ(helpers::contentOf(service.settings()), content);
    }
}

TEST(Settings, ThatAreNoFileAreKeptAndEndTheService) {
    {
        RunningService service;
        std::filesystem::create_directory(service.settings());
        service.start();
        EXPECT_EQ(service.wait(), EX_UNAVAILABLE);
        EXPECT_THAT(service.errors(), HasSubstr("Is a directory"));
    }
    {
        RunningService service;
        ASSERT_EQ(::mkfifo(service.settings().c_str(), 0666), 0);
        service.start();
        EXPECT_EQ(service.wait(), EX_UNAVAILABLE);
    }
    {
        RunningService service;
        std::filesystem::create_symlink("/nowhere", service.settings());
        service.start();
        EXPECT_EQ(service.wait(), EX_UNAVAILABLE);
        EXPECT_TRUE(std::filesystem::is_symlink(service.settings()));
    }
    {
        RunningService service;
        leave(service, documentOf("1", "secret"));
        std::filesystem::permissions(service.settings(), std::filesystem::perms::none);
        service.start();
        EXPECT_EQ(service.wait(), EX_UNAVAILABLE);
        EXPECT_THAT(service.errors(), HasSubstr("Could not open file"));
        EXPECT_THAT(helpers::contentOf(service.settings()), AnyOf(HasSubstr("secret"), ""));
    }
}

TEST(Settings, OfAHostileFileStayInTheirLine) {
    RunningService service;
    leave(service, documentOf("1", "a\\nok label=b\n\x1b[2J" + std::string(5000, 'x')));
    service.start();
    const auto answer = service.ask("status");
    EXPECT_THAT(answer, StartsWith("ok label=a ok label=b  [2Jxxx"));
    EXPECT_EQ(answer.size(), 1000U);
}

TEST(Settings, ThatCannotBeStoredAreRefused) {
    RunningService service;
    service.start();
    EXPECT_EQ(service.ask("label kept"), "ok");
    std::filesystem::permissions(service.directory().path(), std::filesystem::perms(0555));
    EXPECT_THAT(service.ask("label lost"), StartsWith("error "));
    EXPECT_EQ(service.ask("status"), "ok label=kept, last check: none");
    std::filesystem::permissions(service.directory().path(), std::filesystem::perms::all);
    EXPECT_EQ(service.ask("label found"), "ok");
    EXPECT_THAT(helpers::contentOf(service.settings()), HasSubstr("found"));
}

TEST(Settings, SurviveAFullDevice) {
    if (::access("/dev/full", F_OK) != 0) {
        GTEST_SKIP() << "needs /dev/full";
    }
    RunningService service;
    service.start();
    EXPECT_EQ(service.ask("label kept"), "ok");
    std::filesystem::create_symlink("/dev/full", service.settings() + ".new");
    EXPECT_THAT(service.ask("label lost"), StartsWith("error "));
    EXPECT_THAT(service.ask("label lost"), StartsWith("error "));
    EXPECT_EQ(service.ask("status"), "ok label=kept, last check: none");
    service.signal(SIGKILL);
    service.wait();
    service.start();
    EXPECT_EQ(service.ask("status"), "ok label=kept, last check: none");
}

}  // namespace service_tests
