// SPDX-License-Identifier: MIT

// gwctl with a service that means no good.

#include <algorithm>
#include <chrono>
#include <csignal>

#include <gtest/gtest.h>

#include "FakeService.h"
#include "helpers/wait_until.h"
#include "programs.h"

namespace gateway_tests {

namespace {

// What gwctl does when a service gives these answers to its first request.
Outcome controlled(const std::string& answers, const std::vector<std::string>& arguments) {
    const FakeService service(answer(answers));
    std::vector<std::string> all = arguments;
    all.insert(all.begin(), service.path());
    return runControl(all);
}

bool commandsTheTerminal(const std::string& text) {
    return std::any_of(text.begin(), text.end(), [](char character) {
        return character != '\n' &&
               (static_cast<unsigned char>(character) < 0x20 || character == 0x7F);
    });
}

}  // namespace

TEST(Hostile, NoAnswerCommandsTheTerminal) {
    const std::string evil = R"(\u001b]0;title\u0007\u001b[31m\nline)";
    const std::string status =
        R"({"answer":"status","uuid":"u","service":{"operating":")" + evil +
        R"(","health":"ok"},"communication":{"state":")" + evil + R"(","since":")" + evil +
        R"(","reason":")" + evil + R"("},"jobs":{"limit":4,"running":[{"uuid":")" + evil +
        R"(","description":")" + evil +
        R"("}],"scripts":1,"programs":0},"heartbeat":{"period":10,"count":3,"last":")" + evil +
        R"("},"clients":1,"boundClients":0,"plugins":0,"settings":")" + evil + "\"}";
    const struct {
        std::string answer;
        std::vector<std::string> command;
        int exitCode;
        int lines;
    } rows[] = {
        {R"({"answer":"refused","reason":")" + evil + "\"}", {"status"}, 75, 1},
        {R"({"answer":"error","error":")" + evil + "\"}", {"status"}, 76, 1},
        {R"({"answer":"accepted","uuid":")" + evil + "\"}", {"run", "true"}, 0, 1},
        {"{\"answer\":\"settings\",\"settings\":{\"a\x1b[2J\":\"" + evil + "\"},\"counters\":{}}",
         {"settings"},
         0,
         1},
        {"{\"answer\":\"\x1b[31m\"}", {"settings"}, 76, 1},
        {"\x1b]0;x\x07 nonsense", {"status"}, 76, 1},
        {status, {"status"}, 0, 8},
    };
    for (const auto& row : rows) {
        const Outcome outcome = controlled(row.answer + "\n", row.command);
        const std::string shown = outcome.output + outcome.errors;
        EXPECT_EQ(outcome.exitCode, row.exitCode) << shown;
        EXPECT_FALSE(commandsTheTerminal(shown)) << row.answer;
        EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), row.lines) << shown;
    }
}

TEST(Hostile, AnExitCodeIsANumberUpTo255) {
    const std::pair<std::string, int> rows[] = {{"0", 0},       {"255", 255}, {"256", 76},
                                                {"-1", 76},     {"1e3", 76},  {"99999999999", 76},
                                                {"\"abc\"", 76}};
    for (const auto& [code, expected] : rows) {
        const Outcome outcome = controlled(
            "{\"answer\":\"accepted\",\"uuid\":\"u\"}\n"
            "{\"result\":\"exited\",\"uuid\":\"u\",\"exitCode\":" +
                code + "}\n",
            {"run", "--wait", "true"});
        EXPECT_EQ(outcome.exitCode, expected) << code << ": " << outcome.errors;
        EXPECT_EQ(
            outcome.errors.find("\"exitCode\" is no number from 0 to 255") != std::string::npos,
            expected == 76)
            << outcome.errors;
    }
}

TEST(Hostile, BindHeedsCtrlCWhileItWaitsForAnAnswer) {
    const FakeService service(beMute);
    Process client(
        {service.directory().path().string(), controlProgram(), {service.path(), "bind"}});
    // It catches the signal before it connects.
    ASSERT_TRUE(helpers::waitUntil([&] { return service.connections() > 0; }));
    const auto begin = std::chrono::steady_clock::now();
    client.signal(SIGINT);
    EXPECT_EQ(client.wait(), 0) << client.errors();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(9))
        << "it waited until its patience was over, ten seconds";
}

}  // namespace gateway_tests
