// SPDX-License-Identifier: MIT

// Clients that misbehave harm nobody else.

#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/wait_until.h"
#include "programs.h"
#include "sockets.h"

namespace gateway_tests {

namespace {

const std::string kStatus = "{\"request\":\"status\"}";

void expectServing(const RunningService& service) {
    RawClient other = service.connect();
    EXPECT_EQ(member(other.ask(kStatus), {"answer"}), "\"status\"");
}

std::string waiting(const std::string& file, const std::string& then) {
    return "{\"request\":\"run\",\"timeout\":600,\"script\":\"while ! test -e " + file +
           "; do sleep 0.05; done; " + then + "\"}\n";
}

// Runs a program that fills both of its outputs with that text; returns the request for its result.
std::string longResult(RawClient& client, const std::string& text) {
    const std::string fill = "yes '" + text + "' | tr -d '\\\\n' | head -c 32768";
    const std::string answer =
        client.ask(R"({"request":"exec","timeout":60,"program":["/bin/sh","-c",")" + fill + "; " +
                   fill + R"( >&2"]})");
    EXPECT_EQ(member(client.line(), {"result"}), "\"exited\"");
    return R"({"request":"result","uuid":)" + member(answer, {"uuid"}) + "}\n";
}

std::string repeated(const std::string& request, int times) {
    std::string block;
    for (int i = 0; i < times; ++i) {
        block += request;
    }
    return block;
}

}  // namespace

TEST(Clients, HalfALineDisturbsNobody) {
    RunningService service;
    RawClient half = service.connect();
    half.send("{\"request\":");
    expectServing(service);
    half.send("\"status\"}\n");
    EXPECT_EQ(member(half.line(), {"answer"}), "\"status\"");
}

TEST(Clients, ALineWithoutItsLineFeedIsRefusedWhenTheInputEnds) {
    RunningService service;
    RawClient client = service.connect();
    client.send(kStatus + "\n" + kStatus);
    client.endInput();
    EXPECT_EQ(member(client.line(), {"answer"}), "\"status\"");
    EXPECT_EQ(member(client.line(), {"error"}), "\"the last line has no line feed\"");
    EXPECT_EQ(client.line(), "") << "then the service closes the connection";
}

TEST(Clients, OneThatEndsItsInputStillGetsItsResult) {
    RunningService service;
    RawClient client = service.connect();
    client.send(waiting("go", "exit 5"));
    client.endInput();
    EXPECT_EQ(member(client.line(), {"answer"}), "\"accepted\"");
    service.directory().write("go", "");
    EXPECT_EQ(member(client.line(), {"exitCode"}), "5");
    EXPECT_EQ(client.line(), "");
}

TEST(Clients, TheScriptOfAVanishedClientRunsToItsEnd) {
    RunningService service;
    {
        RawClient client = service.connect();
        EXPECT_EQ(member(client.ask(waiting("go", "echo done > done")), {"answer"}),
                  "\"accepted\"");
    }
    expectServing(service);
    service.directory().write("go", "");
    EXPECT_TRUE(helpers::waitUntil(
        [&] { return helpers::contentOf(service.directory().file("done")) == "done\n"; }));
    RawClient other = service.connect();
    EXPECT_TRUE(helpers::waitUntil([&] {
        return member(other.ask(kStatus), {"jobs", "running"}) == "[]";
    }));
}

TEST(Clients, AnEndlessLineTakesNoMemory) {
    RunningService service;
    RawClient client = service.connect();
    const std::string block(1U << 20U, 'x');
    for (int i = 0; i < 16; ++i) {
        client.send(block);
    }
    expectServing(service);
    EXPECT_EQ(member(client.ask(""), {"error"}), "\"the line is longer than 65536 bytes\"");
    EXPECT_EQ(member(client.ask(kStatus), {"answer"}), "\"status\"");
}

TEST(Clients, OneThatFloodsAndNeverReadsIsHeldBack) {
    RunningService service;
    RawClient flood = service.connect();
    std::string block;
    while (block.size() < 65536) {
        block += kStatus + "\n";
    }
    // Requests flow until the answers fill the client's own socket and share of memory.
    std::size_t sent = 0;
    std::size_t idle = 0;
    EXPECT_TRUE(helpers::waitUntil([&] {
        const std::size_t count = flood.trySend(block);
        sent += count;
        idle = count == 0 ? idle + 1 : 0;
        return idle >= 200 || sent > (std::size_t{64} << 20U);
    }));
    EXPECT_LT(sent, std::size_t{64} << 20U) << "the service takes everything";
    expectServing(service);
    EXPECT_EQ(service.stop(), 0) << "a client that does not read delays the end by seconds only";
}

TEST(Clients, ThousandsOfRequestsAreAnsweredOneByOne) {
    RunningService service;
    RawClient client = service.connect();
    const std::string block = repeated(kStatus + "\n", 100);
    for (int round = 0; round < 20; ++round) {
        client.send(block);
        for (int i = 0; i < 100; ++i) {
            ASSERT_EQ(member(client.line(), {"answer"}), "\"status\"");
        }
    }
}

TEST(Clients, ManyLongAnswersThatAreReadLateComeWithoutAPause) {
    RunningService service(R"(, "clients": {"idle": 600})");
    RawClient client = service.connect();
    const std::string request = longResult(client, "a");
    client.send(repeated(request, 40));
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(member(client.line(), {"answer"}), "\"result\"");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(50));
}

TEST(Clients, TheLongestAnswersThatAreReadLateCloseNoConnection) {
    RunningService service;
    RawClient client = service.connect();
    // Nothing is longer in JSON than a control character.
    const std::string request = longResult(client, "\\u0001");
    client.send(repeated(request, 8));
    // The answers are all there, or wait for their turn, once another client has been served.
    for (int i = 0; i < 100; ++i) {
        expectServing(service);
    }
    for (int i = 0; i < 8; ++i) {
        const std::string answer = client.line();
        ASSERT_NE(answer, "") << "closed after " << i;
        EXPECT_GT(answer.size(), 390000U);
    }
}

TEST(Clients, OneThatLetsResultsPileUpIsGivenUpAndTheLogSaysSo) {
    RunningService service(R"(, "jobs": {"limit": 8})");
    RawClient client = service.connect();
    client.ask(R"({"request":"set","name":"jobLimit","value":8})");
    for (int i = 0; i < 8; ++i) {
        const std::string answer = client.ask(
            R"({"request":"exec","timeout":60,"program":["/bin/sh","-c","while ! test -e go; )"
            R"(do sleep 0.05; done; head -c 32768 /dev/zero; head -c 32768 /dev/zero >&2"]})");
        EXPECT_EQ(member(answer, {"answer"}), "\"accepted\"") << answer;
    }
    service.directory().write("go", "");
    EXPECT_TRUE(service.logs("a client takes no results and is given up: user "));
}

TEST(Clients, NobodyPassesADescriptor) {
    constexpr int passRights = 83;  // SO_PASSRIGHTS
    const gateway::FileDescriptor own(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int off = 0;
    if (::setsockopt(own.get(), SOL_SOCKET, passRights, &off, sizeof off) != 0) {
        GTEST_SKIP() << "this kernel cannot refuse passed descriptors";
    }
    RunningService service;
    const gateway::FileDescriptor connection = gateway::connectTo(service.socket());
    char byte = ' ';
    iovec text{&byte, 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{};
    message.msg_iov = &text;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* rights = CMSG_FIRSTHDR(&message);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof(int));
    const int passed = own.get();
    std::memcpy(CMSG_DATA(rights), &passed, sizeof passed);
    EXPECT_EQ(::sendmsg(connection.get(), &message, MSG_NOSIGNAL), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST(Clients, OneTooManyIsToldSo) {
    RunningService service(R"(, "clients": {"limit": 2})");
    auto first = std::make_unique<RawClient>(service.connect());
    RawClient second = service.connect();
    EXPECT_EQ(member(first->ask(kStatus), {"answer"}), "\"status\"");
    EXPECT_EQ(member(second.ask(kStatus), {"answer"}), "\"status\"");
    RawClient third = service.connect();
    EXPECT_EQ(member(third.line(), {"reason"}), "\"too many clients are connected\"");
    EXPECT_EQ(third.line(), "");
    first.reset();
    EXPECT_TRUE(helpers::waitUntil([&] {
        RawClient again = service.connect();
        const std::string answer = again.ask(kStatus);
        return member(answer, {"answer"}) == "\"status\"";
    }));
}

TEST(Clients, OneThatConnectsInALoopHoldsUpNobody) {
    RunningService service(R"(, "clients": {"limit": 16, "perUser": 16})");
    RawClient other = service.connect();
    std::atomic<bool> done{false};
    std::vector<std::thread> crowd;
    for (int i = 0; i < 4; ++i) {
        crowd.emplace_back([&] {
            while (!done) {
                try {
                    const gateway::FileDescriptor connection = gateway::connectTo(service.socket());
                } catch (const std::system_error&) {
                    // Too fast for the service: again.
                }
            }
        });
    }
    auto worst = std::chrono::steady_clock::duration::zero();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (std::chrono::steady_clock::now() < end) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(member(other.ask(kStatus), {"answer"}), "\"status\"");
        worst = std::max(worst, std::chrono::steady_clock::now() - start);
    }
    done = true;
    for (std::thread& thread : crowd) {
        thread.join();
    }
    EXPECT_LT(worst, std::chrono::seconds(10));
}

TEST(Clients, SilentOnesAreClosedSaveThoseThatWaitOrAreBound) {
    RunningService service(R"(, "clients": {"idle": 3})");
    RawClient silent = service.connect();
    RawClient half = service.connect();
    half.send("{\"request\":");
    RawClient waits = service.connect();
    EXPECT_EQ(member(waits.ask(waiting("go", "exit 5")), {"answer"}), "\"accepted\"");
    EXPECT_EQ(member(waits.line(), {"error"}), "\"not JSON: Empty value (\\\"\\\")\"");
    RawClient bound = service.connect();
    bound.ask(
        R"({"request":"bind","client":"11111111-1111-4111-a111-111111111111","interface":"test"})");
    for (RawClient* client : {&silent, &half}) {
        EXPECT_EQ(client->line(), "{\"notice\":\"idle\"}");
        EXPECT_EQ(client->line(), "");
    }
    service.directory().write("go", "");
    EXPECT_EQ(member(waits.line(), {"exitCode"}), "5");
    EXPECT_EQ(waits.line(), "{\"notice\":\"idle\"}");
    EXPECT_EQ(member(bound.ask(kStatus), {"boundClients"}), "1");
    EXPECT_EQ(member(bound.ask("{\"request\":\"unbind\"}"), {"answer"}), "\"unbind\"");
    EXPECT_EQ(bound.line(), "{\"notice\":\"idle\"}");
}

TEST(Clients, OneUserCannotTakeEveryPlace) {
    RunningService service(R"(, "clients": {"limit": 5, "perUser": 2})");
    RawClient first = service.connect();
    RawClient second = service.connect();
    RawClient third = service.connect();
    EXPECT_EQ(member(third.line(), {"reason"}), "\"too many clients of this user are connected\"");
    EXPECT_EQ(third.line(), "");
    EXPECT_EQ(member(first.ask(kStatus), {"answer"}), "\"status\"");
}

TEST(Clients, GwctlTellsWhyItIsRefused) {
    RunningService service(R"(, "clients": {"limit": 1})");
    RawClient first = service.connect();
    for (int round = 0; round < 20; ++round) {
        const Outcome outcome = service.control({"status"});
        EXPECT_EQ(outcome.exitCode, 75);
        EXPECT_EQ(outcome.errors, "gwctl: too many clients are connected\n");
    }
}

}  // namespace gateway_tests
