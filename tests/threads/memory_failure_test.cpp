// SPDX-License-Identifier: MIT

// What holds when there is no memory left.

#include <atomic>
#include <latch>
#include <memory>
#include <new>
#include <optional>

#include <gtest/gtest.h>

#include <vorn/common/Thread.h>
#include <vorn/common/ThreadPool.h>
#include <vorn/common/thread/MessageThread.h>

#include "helpers/faults/allocation.h"
#include "helpers/wait_until.h"

namespace {

using faults::NoMemory;
using vorn::common::Thread;
using vorn::common::ThreadPool;
using vorn::common::thread::Message;
using vorn::common::thread::MessageThread;

/// Runs `operation` with ever more memory until nothing fails; each time it must throw
/// std::bad_alloc or succeed.
template <class Operation, class Afterwards>
void failEachAllocation(Operation operation, Afterwards afterwards) {
    bool struck = true;
    for (std::size_t first = 1; struck; ++first) {
        SCOPED_TRACE(testing::Message() << "no memory from allocation " << first << " on");
        bool thrown = false;
        {
            const NoMemory shortage(first);
            try {
                operation();
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
            struck = shortage.failures() > 0;
        }
        EXPECT_EQ(thrown, struck);
        afterwards(thrown);
    }
}

TEST(NoMemory, ThreadStartsLaterWhenItsStartHadNone) {
    std::optional<Thread> thread(std::in_place);
    std::atomic<int> calls = 0;
    int one = 1;
    failEachAllocation(
        [&] { thread->start([&](void* number) { calls += *static_cast<int*>(number); }, &one); },
        [&](bool thrown) {
            EXPECT_EQ(thread->wait(Thread::kNoTimeout), thrown ? 0u : 2u);
            if (thrown) {
                thread->start([](void*) {}, nullptr);
                EXPECT_EQ(thread->wait(Thread::kNoTimeout), 2u);
            }
            thread.emplace();
        });
    EXPECT_EQ(calls, 1);
}

TEST(NoMemory, ThreadThatHasRunStartsAgainLaterWhenItsStartHadNone) {
    Thread thread;
    thread.start([](void*) {}, nullptr);
    ASSERT_EQ(thread.wait(Thread::kNoTimeout), 2u);
    std::atomic<int> calls = 0;
    failEachAllocation([&] { thread.start([&](void*) { ++calls; }, nullptr); },
                       [&](bool thrown) {
                           if (thrown) {
                               EXPECT_THROW(thread.wait(0), std::system_error);
                           } else {
                               EXPECT_EQ(thread.wait(Thread::kNoTimeout), 2u);
                           }
                       });
    EXPECT_EQ(calls, 1);
}

TEST(NoMemory, MessageThreadIsNotMadeOrStarted) {
    std::optional<MessageThread> thread;
    failEachAllocation([&] { thread.emplace([](const Message&) {}); },
                       [&](bool thrown) { EXPECT_NE(thread.has_value(), thrown); });
    failEachAllocation([&] { thread->start(); },
                       [&](bool thrown) { EXPECT_NE(thread->isStarted(), thrown); });
}

TEST(NoMemory, MessageThreadEndsHoweverManyMessagesAreQueued) {
    for (int queued = 0; queued < 140; ++queued) {
        SCOPED_TRACE(queued);
        std::latch handling(1);
        std::latch released(1);
        MessageThread thread([&](const Message& message) {
            if (message.msgType() == 0) {
                handling.count_down();
                released.wait();
            }
        });
        thread.start();
        thread.sendMessage(Message(1, 0));
        handling.wait();
        for (int i = 1; i <= queued; ++i) {
            thread.sendMessage(Message(1, i));
        }
        bool ended = true;
        try {
            const NoMemory shortage;
            thread.terminate();
        } catch (const std::bad_alloc&) {
            ended = false;
        }
        released.count_down();
        ASSERT_TRUE(ended) << "and its destructor would wait for ever";
    }
}

TEST(NoMemory, MessageThreadKeepsTheMessagesThatItAcceptedWhenOneIsRefused) {
    std::atomic<unsigned> handled = 0;
    MessageThread thread([&](const Message& message) {
        EXPECT_EQ(message.msgType(), handled);
        ++handled;
    });
    unsigned accepted = 0;
    {
        const NoMemory shortage(3);
        try {
            for (;;) {
                thread.sendMessage(Message(1, accepted));
                ++accepted;
            }
        } catch (const std::bad_alloc&) {
        }
    }
    EXPECT_GT(accepted, 0u);
    thread.start();
    EXPECT_TRUE(helpers::waitUntil([&] { return handled == accepted; }));
}

TEST(NoMemory, PoolIsClearedAndDestroyed) {
    for (const bool destroy : {false, true}) {
        std::latch started(1);
        std::latch released(1);
        std::atomic<int> ran = 0;
        auto token = std::make_shared<int>();
        // The running task ends when the last queued one has been discarded.
        std::shared_ptr<void> guard(nullptr, [&](void*) { released.count_down(); });
        {
            std::optional<ThreadPool> pool(std::in_place, 1);
            pool->_emplaceTask([&] {
                started.count_down();
                released.wait();
            });
            started.wait();
            for (int i = 0; i < 100; ++i) {
                pool->_emplaceTask([&ran, token, guard] { ++ran; });
            }
            guard.reset();
            EXPECT_EQ(token.use_count(), 101);
            const NoMemory shortage;
            if (destroy) {
                pool.reset();
            } else {
                pool->clearQueue();
            }
            EXPECT_EQ(token.use_count(), 1);
        }
        EXPECT_EQ(ran, 0);
    }
}

TEST(NoMemory, PoolRefusesATaskAndKeepsTheOthers) {
    ThreadPool pool(1);
    std::latch started(1);
    std::latch released(1);
    std::atomic<int> ran = 0;
    pool._emplaceTask([&] {
        started.count_down();
        released.wait();
    });
    started.wait();
    int accepted = 0;
    {
        const NoMemory shortage(2);
        try {
            for (;;) {
                pool._emplaceTask([&] { ++ran; });
                ++accepted;
            }
        } catch (const std::bad_alloc&) {
        }
    }
    EXPECT_GT(accepted, 0);
    released.count_down();
    std::unique_lock lock(pool.mutex());
    pool.stateChanged().wait(lock, [&] { return pool._isIdle(lock); });
    EXPECT_EQ(ran, accepted);
}

}  // namespace
