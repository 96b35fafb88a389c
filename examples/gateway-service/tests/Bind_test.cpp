// Bindings, by hand and with gwctl bind.

#include <gtest/gtest.h>

#include <csignal>

#include "helpers/wait_until.h"
#include "programs.h"

namespace gateway_tests {

namespace {

const std::string kFirst = "11111111-1111-4111-a111-111111111111";
const std::string kSecond = "22222222-2222-4222-a222-222222222222";
const std::string kStatus = "{\"request\":\"status\"}";

std::string bind(RawClient& client, const std::string& uuid) {
    return member(
        client.ask("{\"request\":\"bind\",\"client\":\"" + uuid + "\",\"interface\":\"test\"}"),
        {"result"});
}

bool bound(RawClient& client, const std::string& count) {
    return helpers::waitUntil(
        [&] { return member(client.ask(kStatus), {"boundClients"}) == count; });
}

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t place = text.find(part); place != std::string::npos;
         place = text.find(part, place + 1)) {
        ++count;
    }
    return count;
}

}  // namespace

TEST(Bind, TheServerTellsEveryOutcome) {
    RunningService service(R"(, "bindings": {"limit": 2})");
    RawClient first = service.connect();
    RawClient second = service.connect();
    RawClient third = service.connect();
    EXPECT_EQ(member(first.ask("{\"request\":\"unbind\"}"), {"result"}),
              "\"BINDER_ERROR_NOT_BOUND\"");
    EXPECT_EQ(bind(first, kFirst), "\"BINDER_SUCCESS\"");
    EXPECT_EQ(bind(first, kSecond), "\"BINDER_ERROR_ALREADY_BOUND\"");
    EXPECT_EQ(bind(second, kFirst), "\"BINDER_ERROR_ALREADY_BOUND\"");
    EXPECT_EQ(bind(second, kSecond), "\"BINDER_SUCCESS\"");
    EXPECT_EQ(bind(third, "33333333-3333-4333-a333-333333333333"),
              "\"BINDER_ERROR_TOO_MANY_CLIENTS\"");
    EXPECT_TRUE(bound(third, "2"));
    EXPECT_EQ(member(first.ask("{\"request\":\"unbind\"}"), {"result"}), "\"BINDER_SUCCESS\"");
    EXPECT_TRUE(bound(third, "1"));
    EXPECT_NE(third.ask("{\"request\":\"bind\",\"client\":\"x\",\"interface\":\"\"}")
                  .find("\\\"client\\\": invalid UUID size x"),
              std::string::npos);
}

TEST(Bind, ABindingEndsWithItsConnection) {
    RunningService service;
    RawClient other = service.connect();
    {
        RawClient client = service.connect();
        EXPECT_EQ(bind(client, kFirst), "\"BINDER_SUCCESS\"");
        EXPECT_TRUE(bound(other, "1"));
    }
    EXPECT_TRUE(bound(other, "0"));
}

TEST(Bind, TheServicesEndIsTold) {
    RunningService service;
    RawClient client = service.connect();
    EXPECT_EQ(bind(client, kFirst), "\"BINDER_SUCCESS\"");
    service.process().signal(SIGTERM);
    EXPECT_EQ(client.line(), "{\"notice\":\"unbound\"}");
    EXPECT_EQ(client.line(), "");
    EXPECT_EQ(service.process().wait(), 0);
}

TEST(Bind, TheDatabaseKeepsEveryClient) {
    RunningService service;
    RawClient first = service.connect();
    RawClient second = service.connect();
    EXPECT_EQ(bind(first, kFirst), "\"BINDER_SUCCESS\"");
    EXPECT_EQ(bind(second, kSecond), "\"BINDER_SUCCESS\"");
    const std::string file = service.directory().file("run/settings.json");
    EXPECT_TRUE(helpers::waitUntil([&] {
        const std::string text = helpers::contentOf(file);
        return text.find(kFirst) != std::string::npos && text.find(kSecond) != std::string::npos;
    })) << helpers::contentOf(file);
    service.process().signal(SIGKILL);
    service.process().wait();
    service.start();
    EXPECT_NE(service.process().errors().find("2 clients were bound"), std::string::npos)
        << service.process().errors();
}

TEST(Bind, GwctlStaysBoundThroughARestart) {
    RunningService service;
    Process client(
        {service.directory().path().string(), controlProgram(), {service.socket(), "bind"}});
    const auto shows = [&client](const std::string& text, std::size_t count) {
        return helpers::waitUntil([&] { return occurrences(client.output(), text) >= count; });
    };
    EXPECT_TRUE(shows("communication ok since ", 1)) << client.errors();
    EXPECT_TRUE(shows("\nbound ", 1));
    service.process().signal(SIGKILL);
    service.process().wait();
    EXPECT_TRUE(shows("communication lost since ", 1)) << client.output();
    EXPECT_TRUE(shows("unbound ", 1));
    service.start();
    EXPECT_TRUE(shows("communication ok since ", 2)) << client.output();
    EXPECT_TRUE(shows("\nbound ", 2));
    service.stop();
    EXPECT_TRUE(shows("communication lost since ", 2));
    service.start();
    EXPECT_TRUE(shows("\nbound ", 3)) << client.output();
    RawClient other = service.connect();
    EXPECT_TRUE(bound(other, "1"));
    client.signal(SIGINT);
    EXPECT_EQ(client.wait(), 0) << client.errors();
    EXPECT_EQ(occurrences(client.output(), "unbound "), 3U);
    EXPECT_TRUE(bound(other, "0"));
}

}  // namespace gateway_tests
