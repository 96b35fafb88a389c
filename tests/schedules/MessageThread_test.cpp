// SPDX-License-Identifier: MIT

// Messages come in the order of sending until the end, and the end comes.

#include <chrono>
#include <cstddef>
#include <functional>
#include <new>
#include <thread>

#include <gtest/gtest.h>

#include <vorn/common/thread/MessageThread.h>

#include "schedules/expect.h"

namespace {

using schedules::expectNoFailure;
using schedules::require;
using vorn::common::thread::Message;
using vorn::common::thread::MessageThread;

/// What the handler got of each of two senders; they number their messages from 1.
class Received {
  public:
    void operator()(const Message& message) {
        unsigned int& last = last_[message.msgClass()];
        require(message.msgType() == last + 1, "a message is lost, doubled or in the wrong order");
        ++last;
    }
    [[nodiscard]] unsigned int of(unsigned int sender) const { return last_[sender]; }

  private:
    unsigned int last_[2] = {0, 0};
};

void sendTwo(MessageThread& thread, unsigned int sender) {
    thread.sendMessage(Message(sender, 1));
    thread.sendMessage(Message(sender, 2));
}

TEST(MessageThreadSchedules, TwoSendersKeepTheirOrder) {
    expectNoFailure([] {
        Received received;
        MessageThread thread([&](const Message& message) {
            received(message);
            if (received.of(0) == 2 && received.of(1) == 2) {
                thread.terminate();
            }
        });
        thread.start();
        std::thread other([&] { sendTwo(thread, 1); });
        sendTwo(thread, 0);
        thread.waitForTerminate();
        other.join();
    });
}

TEST(MessageThreadSchedules, WhatIsSentBeforeTheStartComesFirst) {
    expectNoFailure([] {
        Received received;
        MessageThread thread(std::ref(received));
        std::thread other([&] { sendTwo(thread, 1); });
        sendTwo(thread, 0);
        thread.start();
        other.join();
    });
}

TEST(MessageThreadSchedules, TheEndComesWhileSomebodySends) {
    expectNoFailure([] {
        Received received;
        MessageThread thread(std::ref(received));
        thread.start();
        std::thread sender([&] { sendTwo(thread, 1); });
        thread.terminate();
        require(!thread.isStarted(), "it is not terminating");
        sender.join();
    });
}

TEST(MessageThreadSchedules, OneOfTwoThatTerminateEndsIt) {
    expectNoFailure([] {
        Received received;
        MessageThread thread(std::ref(received));
        thread.start();
        thread.sendMessage(Message(0, 1));
        std::thread other([&] { thread.terminate(); });
        thread.terminate();
        other.join();
    });
}

TEST(MessageThreadSchedules, WhoWaitedBeforeTheEndMayDestroyItBeforeTerminateReturns) {
    expectNoFailure(
        [] {
            alignas(MessageThread) std::byte place[sizeof(MessageThread)];
            auto* const thread = new (place) MessageThread([](const Message&) {});
            thread->start();
            // Which the thread may take after the flag is down, and end.
            thread->sendMessage(Message(0, 1));
            std::thread other([&] { thread->terminate(); });
            while (thread->isStarted()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            thread->~MessageThread();
            schedules::forbid(place, sizeof(place));
            other.join();
        },
        {.preemptions = 3});
}

TEST(MessageThreadSchedules, WhatIsSentBehindTheEndStaysQueued) {
    expectNoFailure([] {
        int handled = 0;
        MessageThread thread([&](const Message&) { ++handled; });
        thread.start();
        std::thread other([&] {
            thread.terminate();
            thread.sendMessage(Message(0, 1));
        });
        thread.waitForTerminate();
        other.join();
        require(!thread.isStarted() && handled == 0, "a message behind the end is handled");
    });
}

}  // namespace
