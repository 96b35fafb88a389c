// SPDX-License-Identifier: MIT

// The client's end of a connection, with services that mean no good or do nothing at all.

#include <sys/socket.h>

#include <vector>

#include <gtest/gtest.h>

#include "FakeService.h"
#include "Session.h"

namespace gateway {

namespace {

using gateway_tests::answer;
using gateway_tests::beMute;
using gateway_tests::FakeService;
using gateway_tests::flood;

constexpr std::chrono::milliseconds kShort(300);
constexpr std::chrono::milliseconds kLong(60000);

// What became of a request: the text of the exception.
std::string trouble(Session& session, const std::string& request) {
    try {
        return "answered: " + session.ask(request).line();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

std::string trouble(const FakeService& service, const Patience& patience,
                    const std::string& request = "{}") {
    try {
        Session session(service.path(), false, patience);
        return trouble(session, request);
    } catch (const ConnectionError& error) {
        return error.what();
    }
}

}  // namespace

TEST(Session, NoticesWithoutEndAreNoAnswer) {
    std::string notices;
    for (int i = 0; i < 1000; ++i) {
        notices += "{\"notice\":\"x\"}\n";
    }
    const FakeService service(flood(notices));
    EXPECT_EQ(trouble(service, {kShort}), "the service does not answer");
}

TEST(Session, BytesWithoutALineFeedAreNoAnswer) {
    const FakeService service(flood(std::string(65536, 'x')));
    EXPECT_EQ(trouble(service, {kShort}), "the service does not answer");
}

TEST(Session, ARequestThatNobodyReadsIsGivenUp) {
    const FakeService service(beMute);
    EXPECT_EQ(trouble(service, {kShort}, std::string(4000000, '#')), "the service does not read");
}

TEST(Session, AConnectionThatNobodyTakesIsGivenUp) {
    const helpers::TempDir directory;
    const FileDescriptor listening = listenAt(directory.file("s"));
    ASSERT_EQ(::listen(listening.get(), 0), 0);
    std::vector<FileDescriptor> waiting;
    do {
        waiting.push_back(connectAtOnce(directory.file("s")));
    } while (waiting.back());
    try {
        const Session session(directory.file("s"), false, {kShort});
        FAIL() << "it connected";
    } catch (const ConnectionError& error) {
        EXPECT_STREQ(error.what(), "the service takes no connection");
    }
}

TEST(Session, WhoIsToldToStopWaitsForNothing) {
    const EventDescriptor stop;
    stop.set();
    const FakeService service(beMute);
    EXPECT_EQ(trouble(service, {kLong, &stop}), "told to stop");
    EXPECT_EQ(trouble(service, {kLong, &stop}, std::string(4000000, '#')), "told to stop");
}

TEST(Session, AFarewellIsShort) {
    const EventDescriptor stop;
    stop.set();
    const FakeService service(beMute);
    Session session(service.path(), false, {kLong, &stop});
    session.takeLeave();
    EXPECT_EQ(trouble(session, "{}"), "the service does not answer");
}

TEST(Session, TakesAllNoticesThatCameTogether) {
    const FakeService service(answer("{\"notice\":\"idle\"}\n{\"notice\":\"unbound\"}\n"));
    Session session(service.path(), false, {kShort});
    const char request = '\n';
    ASSERT_EQ(::send(session.descriptor(), &request, 1, MSG_NOSIGNAL), 1);
    pollfd polled{session.descriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&polled, 1, 20000), 1);
    session.takeNotices();
    EXPECT_TRUE(session.unbound());
}

}  // namespace gateway
