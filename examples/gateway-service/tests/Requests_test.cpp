// SPDX-License-Identifier: MIT

// Requests that are wrong, on a service that goes on.

#include <string>

#include <gtest/gtest.h>

#include "programs.h"

namespace gateway_tests {

namespace {

struct Row {
    std::string request;
    std::string complaint;
};

const Row kRows[] = {
    {"", "not JSON: Empty value"},
    {"hello", "a JSON object is expected"},
    {"[1]", "a JSON object is expected"},
    {"{\"request\":\"status\"", "not JSON: Missing end token"},
    {"{\"request\":\"status\"} {}", "not JSON: something follows the first value"},
    {std::string("{\"request\":\"sta\0tus\"}", 22), "not JSON: there is a NUL character"},
    {"{\"request\":\"dance\"}", "\\\"request\\\": there is no request \\\"dance\\\""},
    {"{\"request\":7}", "\\\"request\\\": a string is expected"},
    {"{}", "\\\"request\\\": missing"},
    {"{\"request\":\"status\",\"request\":\"run\"}", "\\\"request\\\": given twice"},
    {"{\"request\":\"status\",\"verbose\":true}", "unknown member \\\"verbose\\\""},
    {"{\"request\":\"run\",\"timeout\":5}", "\\\"script\\\": missing"},
    {"{\"request\":\"run\",\"script\":\"true\"}", "\\\"timeout\\\": missing"},
    {"{\"request\":\"run\",\"script\":\"true\",\"timeout\":-1}", "\\\"timeout\\\": a whole number"},
    {"{\"request\":\"run\",\"script\":\"true\",\"timeout\":3601}", "from 1 to 3600"},
    {"{\"request\":\"run\",\"script\":\"true\",\"timeout\":1.5}",
     "\\\"timeout\\\": a whole number"},
    {"{\"request\":\"run\",\"script\":\"\\u0000\",\"timeout\":1}", "\\\"script\\\": a NUL"},
    {"{\"request\":\"run\",\"script\":\"\\x\",\"timeout\":1}",
     "\\\"script\\\": there is no escape"},
    {"{\"request\":\"run\",\"script\":\"true\",\"timeout\":1,\"cgroups\":\"x\"}",
     "\\\"cgroups\\\": an array of strings"},
    {"{\"request\":\"run\",\"script\":\"true\",\"timeout\":1,\"environment\":[\"A\"]}",
     "\\\"environment\\\": NAME=value"},
    {"{\"request\":\"run\",\"script\":\"true\",\"timeout\":1,\"environment\":[1]}",
     "\\\"environment\\\": a string is expected"},
    {std::string(70000, 'x'), "the line is longer than 65536 bytes"},
    {"{\"request\":\"\x01\"}", "there is no request \\\"\\u0001\\\""},
};

}  // namespace

TEST(Requests, AWrongOneIsToldWhatIsWrong) {
    RunningService service;
    RawClient client = service.connect();
    for (const Row& row : kRows) {
        const std::string answer = client.ask(row.request);
        EXPECT_EQ(member(answer, {"answer"}), "\"error\"") << row.request;
        EXPECT_NE(member(answer, {"error"}).find(row.complaint), std::string::npos)
            << row.request.substr(0, 100) << "\n"
            << answer;
    }
    EXPECT_EQ(member(client.ask("{\"request\":\"status\"}"), {"answer"}), "\"status\"");
}

TEST(Requests, WhateverACipherThrowsIsARefusal) {
    const helpers::TempDir plugins;
    RunningService service(
        R"(, "plugins": ")" +
        plugins.write("plugins.json", R"({"plugins": [{"path": ")" THROWING_PLUGIN R"("}]})") +
        R"(")");
    RawClient client = service.connect();
    const auto set = [&client](const std::string& value) {
        return client.ask(R"({"request":"set","name":"secret","value":")" + value + "\"}");
    };
    EXPECT_EQ(member(set("logic"), {"reason"}), "\"a logic error\"");
    EXPECT_EQ(member(set("memory"), {"answer"}), "\"refused\"");
    EXPECT_EQ(member(set("number"), {"reason"}), "\"the request failed\"");
    EXPECT_EQ(member(set("other"), {"answer"}), "\"settings\"");
    EXPECT_EQ(member(client.ask(R"({"request":"run","script":"true","timeout":5,"secret":true})"),
                     {"reason"}),
              "\"the request failed\"");
    EXPECT_EQ(service.stop(), 0);
}

TEST(Requests, TextsThatAreKeptHaveABound) {
    RunningService service;
    RawClient client = service.connect();
    const auto with = [&client](const std::string& begin, std::size_t size) {
        return member(client.ask(begin + std::string(size, 'x') + "\"}"), {"answer"});
    };
    const std::string run =
        R"({"request":"run","script":"while ! test -e go; do sleep 0.05; done","timeout":60,"description":")";
    const std::string bind =
        R"({"request":"bind","client":"11111111-1111-4111-a111-111111111111","interface":")";
    EXPECT_EQ(with(run, 257), "\"error\"");
    EXPECT_EQ(with(bind, 257), "\"error\"");
    EXPECT_EQ(with(R"({"request":"set","name":"secret","value":")", 4097), "\"error\"");
    EXPECT_EQ(with(run, 256), "\"accepted\"");
    EXPECT_EQ(with(bind, 256), "\"bind\"");
    service.directory().write("go", "");
    EXPECT_EQ(member(client.line(), {"exitCode"}), "0");
}

TEST(Requests, AnswersComeInTheirOrder) {
    RunningService service;
    RawClient client = service.connect();
    client.send(
        "{\"request\":\"status\"}\nwrong\n{\"request\":\"run\",\"script\":\"exit 4\","
        "\"timeout\":60}\n{\"request\":\"status\"}\n");
    EXPECT_EQ(member(client.line(), {"answer"}), "\"status\"");
    EXPECT_EQ(member(client.line(), {"answer"}), "\"error\"");
    const std::string accepted = client.line();
    EXPECT_EQ(member(accepted, {"answer"}), "\"accepted\"");
    std::string status = client.line();
    std::string result = client.line();
    if (member(status, {"answer"}).empty()) {
        std::swap(status, result);
    }
    EXPECT_EQ(member(status, {"answer"}), "\"status\"");
    EXPECT_EQ(member(result, {"exitCode"}), "4");
    EXPECT_EQ(member(result, {"uuid"}), member(accepted, {"uuid"}));
}

TEST(Requests, DescriptionsComeBackAsValidJsonOnOneLine) {
    RunningService service;
    RawClient client = service.connect();
    client.ask(
        "{\"request\":\"run\",\"script\":\"while ! test -e go; do sleep 0.05; done\","
        "\"timeout\":60,\"description\":\"a\\nb\\u0001\\\"\\\\n\\u20ac\xff\"}");
    const std::string status = client.ask("{\"request\":\"status\"}");
    EXPECT_NE(status.find("\"description\":\"a\\nb\\u0001\\\"\\\\n\xe2\x82\xac\xef\xbf\xbd\""),
              std::string::npos)
        << status;
    service.directory().write("go", "");
    EXPECT_EQ(member(client.line(), {"exitCode"}), "0");
}

}  // namespace gateway_tests
