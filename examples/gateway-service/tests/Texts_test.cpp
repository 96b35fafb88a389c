// SPDX-License-Identifier: MIT

// What is read and written as text: JSON, lines, requests, command lines, the configuration.

#include <cstdlib>

#include <gtest/gtest.h>

#include "Arguments.h"
#include "Configuration.h"
#include "JsonFields.h"
#include "LineBuffer.h"
#include "Request.h"
#include "helpers/TempDir.h"
#include "helpers/expect_throw.h"
#include "json.h"

namespace gateway {

namespace {

using vorn::common::lwjson::Deserializer;

std::string decoded(const std::string& json) {
    return textOf(Deserializer(json.c_str()));
}

}  // namespace

TEST(JsonText, QuotesAnyBytesAsValidJson) {
    const std::pair<std::string, std::string> rows[] = {
        {"", R"("")"},
        {"a/b", R"("a/b")"},
        {"\"\\", R"("\"\\")"},
        {"a\nb\tc\r", R"("a\nb\tc\u000d")"},
        {std::string("\0\x1f\x7f", 3), "\"\\u0000\\u001f\x7f\""},
        {"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80", "\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\""},
        {"\xc2\x80\xc2\x9f\xc2\xa0", "\"\\u0080\\u009f\xc2\xa0\""},
        {"\xff", "\"\xef\xbf\xbd\""},
        {"\xc0\x80", "\"\xef\xbf\xbd\xef\xbf\xbd\""},                  // overlong
        {"\xed\xa0\x80", "\"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\""},  // a surrogate
        {"\xf4\x90\x80\x80x", "\"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbdx\""},
        {"\xe2\x82", "\"\xef\xbf\xbd\xef\xbf\xbd\""},  // cut short
    };
    for (const auto& [text, json] : rows) {
        EXPECT_EQ(jsonString(text), json);
    }
}

TEST(JsonText, WhatIsShownHoldsNothingThatATerminalObeys) {
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {"a b~", "a b~"},
        {"\x1b[31m\n\t\x7f", "?[31m???"},
        {std::string("\0", 1), "?"},
        {"\xc2\x9b"
         "31m\xc2\x80\xc2\x9f",
         "?31m??"},
        {"\xc2\xa0\xc3\x9b\xe2\x82\xac\xf0\x9f\x98\x80",
         "\xc2\xa0\xc3\x9b\xe2\x82\xac\xf0\x9f\x98\x80"},
        {"\x9b\xff\xc2", "???"},
        {"\xe2\x80\xa8\xe2\x80\xae\xe2\x80\x8f\xe2\x81\xa6", "????"},
        {"\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xaa", "\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xaa"},
    };
    for (const auto& [text, shown] : rows) {
        EXPECT_EQ(printable(text, '?'), shown);
    }
}

TEST(JsonText, DecodesEveryEscapeOnce) {
    const std::pair<std::string, std::string> rows[] = {
        {R"("")", ""},
        {R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        {R"("\\n")", "\\n"},
        {R"("\\\\n\\t")", "\\\\n\\t"},
        {R"("\u0041\u00e9\u20AC")", "A\xc3\xa9\xe2\x82\xac"},
        {R"("\ud83d\ude00")", "\xf0\x9f\x98\x80"},
        {R"("\u0000")", std::string(1, '\0')},
    };
    for (const auto& [json, text] : rows) {
        EXPECT_EQ(decoded(json), text) << json;
    }
}

TEST(JsonText, EveryByteStringOfAsciiComesBack) {
    std::string all;
    for (int code = 0; code < 128; ++code) {
        all += static_cast<char>(code);
    }
    const std::string json = jsonString(all);
    EXPECT_EQ(json.find('\n'), std::string::npos);
    EXPECT_EQ(decoded(json), all);
}

TEST(JsonText, RefusesWhatIsNoString) {
    const std::pair<std::string, std::string> rows[] = {
        {"7", "a string is expected"},
        {"null", "a string is expected"},
        {"[\"a\"]", "a string is expected"},
        {R"("\x")", "there is no escape \\x"},
        {R"("\'")", "there is no escape \\'"},
        {R"("\u12g4")", "a \\u escape needs four hexadecimal digits"},
        {R"("\u12")", "a \\u escape needs four hexadecimal digits"},
        {R"("\ud83d")", "a \\u escape holds half of a surrogate pair"},
        {R"("\ude00\ud83d")", "a \\u escape holds half of a surrogate pair"},
    };
    for (const auto& [json, text] : rows) {
        EXPECT_THROW_TEXT(decoded(json), std::invalid_argument, text);
    }
}

TEST(JsonLine, IsOneLineInTheOrderOfTheCalls) {
    EXPECT_EQ(JsonLine()
                  .text("a", "x\ny")
                  .number("b", -1)
                  .flag("c", true)
                  .texts("d", {"1", "\""})
                  .jsons("e", {"1", "{}"})
                  .jsons("f", {})
                  .uuid("g", vorn::common::Uuid())
                  .take(),
              "{\"a\":\"x\\ny\",\"b\":-1,\"c\":true,\"d\":[\"1\",\"\\\"\"],\"e\":[1,{}],\"f\":[],"
              "\"g\":\"00000000-0000-0000-0000-000000000000\"}");
}

namespace {

// Lines as text, their problems as a mark in front.
std::string drain(LineBuffer& buffer) {
    std::string lines;
    while (const auto line = buffer.next()) {
        constexpr const char* marks[] = {"=", "long", "unfinished"};
        lines += marks[static_cast<int>(line->problem)] + line->text + ";";
    }
    return lines;
}

}  // namespace

TEST(LineBuffer, CutsLinesHoweverTheBytesArrive) {
    const std::string text = "one\n\ntwo2\nthree3\nno";
    for (std::size_t block = 1; block <= text.size(); ++block) {
        LineBuffer buffer(5);
        std::string lines;
        for (std::size_t place = 0; place < text.size(); place += block) {
            buffer.append(std::string_view(text).substr(place, block));
            lines += drain(buffer);
        }
        EXPECT_EQ(lines, "=one;=;=two2;long;") << block;
        EXPECT_FALSE(buffer.exhausted());
        buffer.end();
        EXPECT_EQ(drain(buffer), "unfinished;");
        EXPECT_TRUE(buffer.exhausted());
    }
}

TEST(LineBuffer, TheLimitItselfFits) {
    LineBuffer buffer(3);
    buffer.append("abc\nabcd\n");
    EXPECT_EQ(drain(buffer), "=abc;long;");
}

TEST(LineBuffer, AnEndAfterAWholeLineLeavesNothing) {
    LineBuffer buffer(3);
    buffer.append("a\n");
    buffer.end();
    EXPECT_FALSE(buffer.exhausted());
    EXPECT_EQ(drain(buffer), "=a;");
    EXPECT_TRUE(buffer.exhausted());
}

TEST(LineBuffer, AnEndInsideALineThatIsTooLongIsToldOnce) {
    LineBuffer buffer(3);
    buffer.append("abcdefgh");
    EXPECT_EQ(drain(buffer), "");
    buffer.end();
    EXPECT_EQ(drain(buffer), "unfinished;");
}

TEST(Request, RunTakesEveryMember) {
    const Request request =
        parseRequest(R"({"request":"run","script":"echo \"\\n\"","timeout":10,"description":"d",)"
                     R"("chroot":"","cgroups":["cpu:/a","b"],"environment":["A=1","B="]})",
                     {10, 4});
    const auto& run = std::get<RunRequest>(request);
    EXPECT_EQ(run.script.content, "echo \"\\n\"");
    EXPECT_EQ(run.script.description, "d");
    EXPECT_EQ(run.script.chroot, "");
    EXPECT_EQ(run.script.cgroups, (std::vector<std::string>{"cpu:/a", "b"}));
    EXPECT_EQ(run.script.environment, (std::vector<std::string>{"A=1", "B="}));
    EXPECT_EQ(run.timeout.count(), 10U);
    EXPECT_EQ(run.script.uuid.version(), 4);
}

TEST(Request, RunHasDefaults) {
    const Request request = parseRequest(R"( {"request":"run","script":"","timeout":1} )", {10, 4});
    const auto& run = std::get<RunRequest>(request);
    EXPECT_EQ(run.script.description, "");
    EXPECT_FALSE(run.script.chroot);
    EXPECT_FALSE(run.script.cgroups);
    ASSERT_EQ(run.script.environment.size(), 1U);
    EXPECT_EQ(run.script.environment[0].compare(0, 5, "PATH="), 0);
    EXPECT_TRUE(
        std::holds_alternative<StatusRequest>(parseRequest(R"({"request":"status"})", {1, 1})));
}

TEST(Request, TheLongestTimeoutBoundsTheTimeout) {
    EXPECT_THROW_TEXT(
        parseRequest(R"({"request":"run","script":"","timeout":11})", (RequestLimits{10, 4})),
        FieldError, "\"timeout\": a whole number from 1 to 10 is expected (found 11)");
}

namespace {

Arguments arguments(std::vector<std::string> words) {
    words.insert(words.begin(), "gwctl");
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    return {static_cast<int>(pointers.size()), pointers.data()};
}

}  // namespace

TEST(Arguments, OptionsAreTakenFromAnywhereBeforeTheDashes) {
    Arguments taken = arguments({"--a", "1", "x", "--a=2", "--f", "--b", "7", "--", "--f", "-"});
    EXPECT_TRUE(taken.flag("--f"));
    EXPECT_FALSE(taken.flag("--f"));
    EXPECT_EQ(taken.values("--a"), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(taken.number("--b"), 7U);
    EXPECT_EQ(taken.value("--none"), std::nullopt);
    EXPECT_EQ(taken.operand("it"), "x");
    EXPECT_EQ(taken.operands(), (std::vector<std::string>{"--f", "-"}));
    taken.finish();
}

TEST(Arguments, ADashAloneIsAnOperand) {
    Arguments taken = arguments({"-"});
    EXPECT_EQ(taken.operand("it"), "-");
}

TEST(Arguments, SayWhatIsWrong) {
    EXPECT_THROW_TEXT(arguments({"--a"}).value("--a"), UsageError, "--a needs a value");
    EXPECT_THROW_TEXT(arguments({"--a=1", "--a=2"}).value("--a"), UsageError, "--a is given twice");
    EXPECT_THROW_TEXT(arguments({"--a=1x"}).number("--a"), UsageError,
                      "--a needs a number, not \"1x\"");
    EXPECT_THROW_TEXT(arguments({"--a=4294967296"}).number("--a"), UsageError,
                      "--a needs a number, not \"4294967296\"");
    EXPECT_THROW_TEXT(arguments({}).operand("it"), UsageError, "it is missing");
    EXPECT_THROW_TEXT(arguments({"--z", "a"}).operand("it"), UsageError,
                      "there is no option --z here");
    EXPECT_THROW_TEXT(arguments({"a"}).finish(), UsageError, "\"a\" is one argument too many");
}

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

TEST(Configuration, OneUserMayNotHaveMoreThanAll) {
    const helpers::TempDir directory;
    const std::string file =
        directory.write("c.json", R"({"clients": {"limit": 3, "perUser": 4}})");
    EXPECT_THROW_TEXT(
        loadConfiguration(file), std::runtime_error,
        "configuration \"" + file +
            "\": \"clients.perUser\": a whole number from 1 to 3 is expected (found 4)");
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
    EXPECT_THROW_TEXT(loadConfiguration("/dev/zero"), std::runtime_error,
                      "configuration \"/dev/zero\": is larger than 64 KiB");
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
