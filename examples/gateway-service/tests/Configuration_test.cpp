// SPDX-License-Identifier: MIT
#include <cstdlib>

#include <gtest/gtest.h>

#include "Configuration.h"
#include "helpers/TempDir.h"
#include "helpers/expect_throw.h"

namespace gateway {

TEST(Configuration, TakesEveryMember) {
    const helpers::TempDir directory;
    const Configuration configuration = loadConfiguration(directory.write(
        "c.json",
        R"({"socket": "s", "identity": {"user": "u", "group": "g", "capabilities": "cap_kill"},
            "plugins": "p\u0041", "jobs": {"limit": 2, "longestTimeout": 7, "stopTime": 0},
            "clients": {"limit": 3, "perUser": 1, "idle": 9}, "bindings": {"limit": 0},
            "settings": "t", "settingsDelay": 4, "report": 5, "log": "debug"}
        )"));
    EXPECT_EQ(configuration.socket, "s");
    EXPECT_EQ(configuration.user, "u");
    EXPECT_EQ(configuration.group, "g");
    EXPECT_EQ(configuration.capabilities, "cap_kill");
    EXPECT_EQ(configuration.plugins, "pA");
    EXPECT_EQ(configuration.jobLimit, 2U);
    EXPECT_EQ(configuration.longestTimeout, 7U);
    EXPECT_EQ(configuration.stopTime, 0U);
    EXPECT_EQ(configuration.clientLimit, 3U);
    EXPECT_EQ(configuration.clientsPerUser, 1U);
    EXPECT_EQ(configuration.idle, 9U);
    EXPECT_EQ(configuration.bindingLimit, 0U);
    EXPECT_EQ(configuration.settings, "t");
    EXPECT_EQ(configuration.settingsDelay, 4U);
    EXPECT_EQ(configuration.report, 5U);
    EXPECT_EQ(configuration.log, log::Level::Debug);
}

TEST(Configuration, TheSettingsAreNamedLikeTheSocketAndBesideIt) {
    const helpers::TempDir directory;
    EXPECT_EQ(loadConfiguration(directory.write("c.json", R"({"socket": "run/s.sock"})")).settings,
              "run/s.settings.json");
    EXPECT_EQ(loadConfiguration(directory.write("c.json", R"({"socket": "s"})")).settings,
              "s.settings.json");
    ::setenv("STATE_DIRECTORY", "/var/lib/g", 1);
    EXPECT_EQ(loadConfiguration(directory.write("c.json", R"({"socket": "run/s.sock"})")).settings,
              "/var/lib/g/s.settings.json");
    ::unsetenv("STATE_DIRECTORY");
}

TEST(Configuration, TheSocketHasADefault) {
    const helpers::TempDir directory;
    ::setenv("GATEWAYD_SOCKET", "/named", 1);
    EXPECT_EQ(loadConfiguration(directory.write("c.json", "{}")).socket, "/named");
    ::unsetenv("GATEWAYD_SOCKET");
    ::unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(loadConfiguration(directory.write("c.json", "{}")).socket,
              "/run/gatewayd/gatewayd.sock");
}

TEST(Configuration, SaysWhatIsWrongInItsOwnWords) {
    const helpers::TempDir directory;
    const std::pair<std::string, std::string> rows[] = {
        {"{", "not JSON: Invalid token when looking for key"},
        {"[]", "a JSON object is expected"},
        {"", "not JSON: Empty value (\"\")"},
        {R"({"socket": "s"} {"socket": "t"})", "not JSON: something follows the first value"},
        {R"({"sockt": "s"})", "unknown member \"sockt\""},
        {R"({"jobs_limit": 2})", "unknown member \"jobs_limit\""},
        {R"({"jobs": {"limt": 2}})", "unknown member \"jobs.limt\""},
        {R"({"jobs": {"limit": 2, "limit": 3}})", "\"jobs.limit\": given twice"},
        {R"({"jobs": 3})", "\"jobs\": an object is expected (found 3)"},
        {R"({"socket": 7})", "\"socket\": a string is expected (found 7)"},
        {R"({"socket": "s", "identity": {"user": "u"}})",
         "\"identity\": both \"user\" and \"group\" are needed"},
        {R"({"jobs": {"limit": "x"}})",
         "\"jobs.limit\": a whole number from 1 to 64 is expected (found \"x\")"},
        {R"({"jobs": {"limit": 4.7}})",
         "\"jobs.limit\": a whole number from 1 to 64 is expected (found 4.7)"},
        {R"({"jobs": {"limit": 1e3}})",
         "\"jobs.limit\": a whole number from 1 to 64 is expected (found 1e3)"},
        {R"({"jobs": {"limit": 0}})",
         "\"jobs.limit\": a whole number from 1 to 64 is expected (found 0)"},
        {R"({"clients": {"limit": 513}})",
         "\"clients.limit\": a whole number from 1 to 512 is expected (found 513)"},
        {R"({"log": "loud"})",
         "\"log\": error, warning, info or debug is expected (found \"loud\")"},
    };
    for (const auto& [text, complaint] : rows) {
        const std::string file = directory.write("c.json", text);
        EXPECT_THROW_TEXT(loadConfiguration(file), std::runtime_error,
                          "configuration \"" + file + "\": " + complaint);
    }
    EXPECT_THROW_TEXT(loadConfiguration(directory.file("none")), std::runtime_error,
                      "configuration \"" + directory.file("none") +
                          "\": cannot be read: No such file or directory");
    EXPECT_THROW_TEXT(
        loadConfiguration(directory.path().string()), std::runtime_error,
        "configuration \"" + directory.path().string() + "\": cannot be read: Is a directory");
}

TEST(Configuration, WhatNeedsAnotherStartIsNamed) {
    Configuration now;
    Configuration next;
    next.idle = 1;
    EXPECT_EQ(fixedDifferences(now, next), "");
    next.socket = "other";
    next.jobLimit = 1;
    EXPECT_EQ(fixedDifferences(now, next), "socket, jobs.limit");
}

}  // namespace gateway
