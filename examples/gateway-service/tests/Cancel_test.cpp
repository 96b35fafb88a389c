// SPDX-License-Identifier: MIT

// Jobs whose end somebody asks for, and ends that are asked for later.

#include <gtest/gtest.h>

#include "helpers/wait_until.h"
#include "programs.h"

namespace gateway_tests {

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
    EXPECT_EQ(service.control({"cancel", uuid}).output, "cancelled " + uuid + "\n");
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
