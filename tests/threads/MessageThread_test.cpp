// SPDX-License-Identifier: MIT
#include <signal.h>

#include <future>
#include <latch>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/thread/MessageThread.h>

#include "helpers/Actor.h"
#include "helpers/faults/threads.h"
#include "helpers/thread_state.h"
#include "helpers/wait_until.h"

namespace {

using vorn::common::thread::Message;
using vorn::common::thread::MessageThread;

/// What a handler received, from whichever thread.
class Received {
  public:
    void add(const Message& message) {
        const std::lock_guard lock(mutex_);
        messages_.push_back(message);
    }
    [[nodiscard]] std::vector<Message> all() const {
        const std::lock_guard lock(mutex_);
        return messages_;
    }
    [[nodiscard]] bool waitFor(std::size_t count) const {
        return helpers::waitUntil([&] { return all().size() >= count; });
    }

  private:
    mutable std::mutex mutex_;
    std::vector<Message> messages_;
};

TEST(MessageThread, HandlesMessagesInTheOrderOfSendingOnOneOtherThread) {
    Received received;
    std::vector<std::thread::id> threads;
    MessageThread thread([&](const Message& message) {
        threads.push_back(std::this_thread::get_id());
        received.add(message);
    });
    thread.start();
    for (unsigned type = 0; type < 200; ++type) {
        thread.sendMessage(Message(1, type));
    }
    ASSERT_TRUE(received.waitFor(200));
    const auto messages = received.all();
    for (unsigned type = 0; type < 200; ++type) {
        EXPECT_EQ(messages[type], Message(1, type));
        EXPECT_EQ(threads[type], threads[0]);
    }
    EXPECT_NE(threads[0], std::this_thread::get_id());
}

TEST(MessageThread, HandlesWhatWasSentBeforeStart) {
    Received received;
    MessageThread thread([&](const Message& message) { received.add(message); });
    const Message first(1, 1);
    thread.sendMessage(first);
    thread.sendMessage(Message(1, 2));
    EXPECT_FALSE(thread.isStarted());
    thread.start();
    EXPECT_TRUE(thread.isStarted());
    thread.sendMessage(Message(1, 3));
    ASSERT_TRUE(received.waitFor(3));
    EXPECT_EQ(received.all(), (std::vector{Message(1, 1), Message(1, 2), Message(1, 3)}));
}

TEST(MessageThread, IgnoresASecondStart) {
    Received received;
    MessageThread thread([&](const Message& message) { received.add(message); });
    thread.start();
    thread.start();
    thread.sendMessage(Message(1, 1));
    EXPECT_TRUE(received.waitFor(1));
}

struct Reading : Message {
    explicit Reading(double measured) : Message(4, 5), value(measured) {}
    double value;
};

TEST(MessageThread, DeliberatelyCarriesClassAndTypeAlone) {
    std::promise<bool> plain;
    MessageThread thread([&](const Message& message) {
        plain.set_value(typeid(message) == typeid(Message) && message == Message(4, 5));
    });
    thread.start();
    thread.sendMessage(Reading(1.5));
    EXPECT_TRUE(plain.get_future().get());
}

TEST(MessageThread, LetsItsHandlerSend) {
    Received received;
    MessageThread* self = nullptr;
    MessageThread thread([&](const Message& message) {
        received.add(message);
        if (message.msgType() < 5) {
            self->sendMessage(Message(1, message.msgType() + 1));
        }
    });
    self = &thread;
    thread.start();
    thread.sendMessage(Message(1, 0));
    EXPECT_TRUE(received.waitFor(6));
}

TEST(MessageThread, EndsAtTheNextMessageWhenItsHandlerTerminates) {
    Received received;
    MessageThread* self = nullptr;
    {
        MessageThread thread([&](const Message& message) {
            received.add(message);
            self->terminate();
        });
        self = &thread;
        thread.sendMessage(Message(1, 1));
        thread.sendMessage(Message(1, 2));
        thread.sendMessage(Message(1, 3));
        thread.start();
        ASSERT_TRUE(received.waitFor(1));
        EXPECT_TRUE(helpers::waitUntil([&] { return !thread.isStarted(); }));
    }
    EXPECT_EQ(received.all(), std::vector{Message(1, 1)});
}

TEST(MessageThread, DestructionWaitsForTheHandler) {
    std::latch handling(1);
    std::atomic<bool> finished = false;
    MessageThread* self = nullptr;
    {
        MessageThread thread([&](const Message&) {
            handling.count_down();
            while (self->isStarted()) {
                std::this_thread::yield();
            }
            finished = true;
        });
        self = &thread;
        thread.start();
        thread.sendMessage(Message(1, 1));
        handling.wait();
    }
    EXPECT_TRUE(finished);
}

TEST(MessageThread, WaitsForNothingUnlessStarted) {
    MessageThread thread([](const Message&) {});
    thread.waitForTerminate();
    thread.terminate();
    thread.start();
    thread.terminate();
    thread.waitForTerminate();
    EXPECT_FALSE(thread.isStarted());
}

TEST(MessageThread, WaitsUntilSomebodyTerminates) {
    Received received;
    MessageThread thread([&](const Message& message) { received.add(message); });
    helpers::Actor owner;
    owner.run([&] { thread.start(); });
    auto ended = owner.post([&] { thread.waitForTerminate(); });
    ASSERT_TRUE(helpers::waitUntilAsleep(owner.tid()));
    EXPECT_EQ(ended.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    thread.terminate();
    ended.get();
    EXPECT_FALSE(thread.isStarted());
    EXPECT_TRUE(received.all().empty());
}

TEST(MessageThread, DeliberatelyHandlesWhatWasLeftUnhandledAfterARestart) {
    Received received;
    MessageThread* self = nullptr;
    MessageThread thread([&](const Message& message) {
        received.add(message);
        if (message == Message(1, 1)) {
            self->sendMessage(Message(1, 2));
            self->sendMessage(Message(1, 3));
            self->terminate();
            self->terminate();
        }
    });
    self = &thread;
    helpers::Actor owner;
    owner.run([&] { thread.start(); });
    auto ended = owner.post([&] { thread.waitForTerminate(); });
    ASSERT_TRUE(helpers::waitUntilAsleep(owner.tid()));
    thread.sendMessage(Message(1, 1));
    ended.get();
    thread.sendMessage(Message(1, 4));
    owner.run([&] { thread.start(); });
    ASSERT_TRUE(received.waitFor(4));
    EXPECT_EQ(received.all(),
              (std::vector{Message(1, 1), Message(1, 3), Message(0, 0xDEADBEEF), Message(1, 4)}));
}

TEST(MessageThread, IsNotStartedWhenItsThreadCannotBeCreated) {
    Received received;
    MessageThread thread([&](const Message& message) { received.add(message); });
    {
        const faults::NoMoreThreads shortage;
        EXPECT_THROW(thread.start(), std::system_error);
    }
    EXPECT_FALSE(thread.isStarted());
    thread.start();
    thread.sendMessage(Message(1, 1));
    EXPECT_TRUE(received.waitFor(1));
}

TEST(MessageThread, StandsStartAgainstTerminateAndSend) {
    for (int round = 0; round < 100; ++round) {
        MessageThread thread([](const Message&) {});
        std::latch ready(3);
        std::thread terminator([&] {
            ready.arrive_and_wait();
            thread.terminate();
        });
        std::thread sender([&] {
            ready.arrive_and_wait();
            thread.sendMessage(Message(1, 1));
            thread.terminate();
            thread.sendMessage(Message(1, 2));
        });
        ready.arrive_and_wait();
        thread.start();
        terminator.join();
        sender.join();
        static_cast<void>(thread.isStarted());
    }
}

TEST(MessageThread, MayBeDestroyedAsSoonAsItHasEndedWhileTerminateStillReturns) {
    for (int round = 0; round < 200; ++round) {
        auto* thread = new MessageThread([](const Message&) {});
        thread->start();
        thread->sendMessage(Message(1, 1));
        thread->sendMessage(Message(1, 2));
        std::thread terminator([&] { thread->terminate(); });
        while (thread->isStarted()) {
            thread->waitForTerminate();
        }
        delete thread;
        terminator.join();
    }
}

void restartWithoutJoining() {
    MessageThread thread([](const Message&) {});
    thread.start();
    thread.terminate();
    thread.waitForTerminate();
    thread.start();
}

TEST(MessageThreadDeathTest, DeliberatelyEndsTheProcessWhenRestartedUnjoined) {
    EXPECT_EXIT(restartWithoutJoining(), testing::KilledBySignal(SIGABRT), "");
}

void handleOneMessage(std::function<void(const Message&)> handler) {
    MessageThread thread(std::move(handler));
    thread.start();
    thread.sendMessage(Message(1, 1));
    static_cast<void>(helpers::waitUntil([] { return false; }));
}

TEST(MessageThreadDeathTest, DeliberatelyEndsTheProcessForAnEmptyHandler) {
    EXPECT_EXIT(handleOneMessage({}), testing::KilledBySignal(SIGABRT), "bad_function_call");
}

TEST(MessageThreadDeathTest, DeliberatelyEndsTheProcessWhenTheHandlerThrows) {
    EXPECT_EXIT(handleOneMessage([](const Message&) { throw std::runtime_error("from handler"); }),
                testing::KilledBySignal(SIGABRT), "from handler");
}

}  // namespace
