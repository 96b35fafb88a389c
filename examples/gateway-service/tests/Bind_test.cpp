// SPDX-License-Identifier: MIT

// Bindings, by hand and with gwctl bind.

#include <sys/socket.h>

#include <csignal>
#include <memory>

#include <gtest/gtest.h>

#include "helpers/wait_until.h"
#include "programs.h"
#include "sockets.h"

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
    RunningService service(R"(, "settingsDelay": 1)");
    RawClient first = service.connect();
    RawClient second = service.connect();
    EXPECT_EQ(bind(first, kFirst), "\"BINDER_SUCCESS\"");
    EXPECT_EQ(bind(second, kSecond), "\"BINDER_SUCCESS\"");
    const std::string file = service.settingsFile();
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

TEST(Bind, GwctlGoesOnThroughRefusalsAndShowsEachOnce) {
    RunningService service(R"(, "bindings": {"limit": 1}, "log": "debug")");
    auto first = std::make_unique<RawClient>(service.connect());
    EXPECT_EQ(bind(*first, kFirst), "\"BINDER_SUCCESS\"");
    Process client(
        {service.directory().path().string(), controlProgram(), {service.socket(), "bind"}});
    const std::string refused = "bind: BINDER_ERROR_TOO_MANY_CLIENTS";
    EXPECT_TRUE(
        helpers::waitUntil([&] { return occurrences(service.process().errors(), refused) >= 3; }));
    EXPECT_EQ(occurrences(client.output(), "(BINDER_ERROR_TOO_MANY_CLIENTS)"), 1U)
        << client.output();
    first.reset();
    EXPECT_TRUE(helpers::waitUntil([&] { return occurrences(client.output(), "\nbound ") == 1; }))
        << client.output();
    client.signal(SIGINT);
    EXPECT_EQ(client.wait(), 0);
}

TEST(Bind, GwctlGoesOnWhenItsConnectionIsRefused) {
    RunningService service(R"(, "clients": {"limit": 1})");
    auto first = std::make_unique<RawClient>(service.connect());
    first->ask(kStatus);
    Process client(
        {service.directory().path().string(), controlProgram(), {service.socket(), "bind"}});
    EXPECT_TRUE(helpers::waitUntil([&] {
        return !client.running() ||
               occurrences(client.output(), "not bound: too many clients are connected\n") == 1;
    }));
    EXPECT_TRUE(client.running()) << client.errors();
    first.reset();
    EXPECT_TRUE(helpers::waitUntil([&] { return occurrences(client.output(), "\nbound ") == 1; }))
        << client.output();
    client.signal(SIGINT);
    EXPECT_EQ(client.wait(), 0);
}

TEST(Bind, GwctlGoesOnWhenTheEndOfItsBindingCrossesARequest) {
    const helpers::TempDir directory;
    const std::string socket = directory.file("s");
    const gateway::FileDescriptor listening = gateway::listenAt(socket);
    Process client({directory.path().string(), controlProgram(), {socket, "bind"}});
    const std::string status =
        R"({"answer":"status","uuid":"0b9f2c55-7a06-5c0b-b9a4-5a0b2b1f0d11"})";
    // Twice: the notice comes before the answer, which says that it is bound.
    for (int round = 0; round < 2; ++round) {
        int accepted = -1;
        ASSERT_TRUE(helpers::waitUntil([&] {
            accepted = ::accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC);
            return accepted >= 0 || !client.running();
        }));
        ASSERT_TRUE(client.running()) << client.errors();
        RawClient service{gateway::FileDescriptor(accepted)};
        EXPECT_EQ(service.line(), kStatus);
        service.send(status + "\n");
        EXPECT_EQ(member(service.line(), {"request"}), "\"bind\"");
        service.send(
            "{\"notice\":\"unbound\"}\n"
            R"({"answer":"bind","result":"BINDER_SUCCESS","time":1})"
            "\n");
        EXPECT_EQ(service.line(), "") << "it leaves, to come again";
    }
    client.signal(SIGINT);
    EXPECT_EQ(client.wait(), 0) << client.errors();
}

}  // namespace gateway_tests
