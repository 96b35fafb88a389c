// SPDX-License-Identifier: MIT
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/Thread.h>

#include "helpers/Actor.h"
#include "helpers/faults/threads.h"
#include "helpers/thread_state.h"

namespace {

using vorn::common::IRunnable;
using vorn::common::Thread;
using namespace std::chrono_literals;

static_assert(!std::is_polymorphic_v<Thread>);
static_assert(!std::is_copy_constructible_v<Thread>);
static_assert(std::has_virtual_destructor_v<IRunnable>);
static_assert(Thread::kNoTimeout == 9223372036854775807LL);

/// A function that runs until it is released.
class Gate {
  public:
    std::function<void(void*)> function() {
        return [this](void*) { released_.wait(); };
    }
    void release() { promise_.set_value(); }

  private:
    std::promise<void> promise_;
    std::shared_future<void> released_ = promise_.get_future().share();
};

std::error_code errorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::system_error& error) {
        return error.code();
    }
    return {};
}

TEST(Thread, WaitOnNeverStartedReturns0) {
    Thread thread;
    for (const long long limit : {0LL, -1LL, 5LL, Thread::kNoTimeout}) {
        EXPECT_EQ(thread.wait(limit), 0u) << limit;
    }
}

TEST(Thread, PassesTheArgumentUnchangedOnAThreadOfItsOwn) {
    int target = 0;
    void* seen = nullptr;
    std::thread::id id;
    Thread thread;
    thread.start(
        [&](void* arg) {
            seen = arg;
            id = std::this_thread::get_id();
        },
        &target);
    EXPECT_EQ(thread.wait(Thread::kNoTimeout), 2u);
    EXPECT_EQ(seen, &target);
    EXPECT_NE(id, std::this_thread::get_id());
}

TEST(Thread, RunsARunnableThroughItsVirtualSlot) {
    struct Base : IRunnable {
        void run(void*) override { called = 1; }
        int called = 0;
    };
    struct Derived : Base {
        void run(void* arg) override { called = *static_cast<int*>(arg); }
    };
    Derived runnable;
    int value = 7;
    Thread thread;
    thread.start(static_cast<Base&>(runnable), &value);
    EXPECT_EQ(thread.wait(60000), 2u);
    EXPECT_EQ(runnable.called, 7);
}

TEST(Thread, WaitTellsRunningFromFinished) {
    Gate gate;
    Thread thread;
    thread.start(gate.function(), nullptr);
    EXPECT_EQ(thread.wait(0), 1u);
    EXPECT_EQ(thread.wait(-1), 1u);
    EXPECT_EQ(thread.wait(std::numeric_limits<long long>::min()), 1u);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(thread.wait(30), 1u);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
    gate.release();
    EXPECT_EQ(thread.wait(60000), 2u);
}

TEST(Thread, FinishedThreadIsJoinedByAZeroWait) {
    Thread thread;
    thread.start([](void*) {}, nullptr);
    unsigned int result = 1;
    while (result == 1) {
        result = thread.wait(0);
        std::this_thread::yield();
    }
    EXPECT_EQ(result, 2u);
}

TEST(Thread, HugeFiniteLimitsBlockUntilTheFunctionReturns) {
    for (const long long limit : {9300000000000LL, Thread::kNoTimeout - 1, Thread::kNoTimeout}) {
        SCOPED_TRACE(limit);
        Gate gate;
        helpers::Actor owner;
        Thread thread;
        thread.start(gate.function(), nullptr);
        auto waited = owner.post([&] { return thread.wait(limit); });
        ASSERT_TRUE(helpers::waitUntilAsleep(owner.tid()));
        EXPECT_EQ(waited.wait_for(0s), std::future_status::timeout);
        gate.release();
        EXPECT_EQ(waited.get(), 2u);
    }
}

TEST(Thread, DeliberateExceptionsOfTheFunctionAreDiscarded) {
    for (const long long limit : {60000LL, Thread::kNoTimeout}) {
        Thread thread;
        thread.start([](void*) { throw std::runtime_error("lost"); }, nullptr);
        EXPECT_EQ(thread.wait(limit), 2u);
        thread.start([](void*) { throw 5; }, nullptr);
        EXPECT_EQ(thread.wait(limit), 2u);
    }
    Thread empty;
    empty.start(std::function<void(void*)>(), nullptr);
    EXPECT_EQ(empty.wait(60000), 2u);
}

TEST(Thread, DeliberateStartIsIgnoredUntilAWaitReturned2) {
    Gate gate;
    std::atomic<int> calls = 0;
    const auto count = [&](void*) { ++calls; };
    Thread thread;
    thread.start(gate.function(), nullptr);
    thread.start(count, nullptr);
    EXPECT_EQ(thread.wait(0), 1u);
    thread.start(count, nullptr);
    gate.release();
    EXPECT_EQ(thread.wait(Thread::kNoTimeout), 2u);
    EXPECT_EQ(calls, 0);

    std::promise<void> entered;
    thread.start([&](void*) { entered.set_value(); }, nullptr);
    entered.get_future().wait();
    thread.start(count, nullptr);
    EXPECT_EQ(thread.wait(Thread::kNoTimeout), 2u);
    EXPECT_EQ(calls, 0);

    thread.start(count, nullptr);
    EXPECT_EQ(thread.wait(Thread::kNoTimeout), 2u);
    EXPECT_EQ(calls, 1);
}

TEST(Thread, DeliberateWaitAfter2FailsWithInvalidArgument) {
    for (const long long limit : {0LL, 1000LL, Thread::kNoTimeout}) {
        Thread thread;
        thread.start([](void*) {}, nullptr);
        ASSERT_EQ(thread.wait(Thread::kNoTimeout), 2u);
        EXPECT_EQ(errorOf([&] { thread.wait(limit); }), std::errc::invalid_argument) << limit;
    }
}

TEST(Thread, DestructorWaitsForTheFunction) {
    Gate gate;
    helpers::Actor owner;
    auto thread = std::make_unique<Thread>();
    thread->start(gate.function(), nullptr);
    auto destroyed = owner.post([&] { thread.reset(); });
    ASSERT_TRUE(helpers::waitUntilAsleep(owner.tid()));
    EXPECT_EQ(destroyed.wait_for(0s), std::future_status::timeout);
    gate.release();
    destroyed.get();
}

TEST(Thread, FunctionIsReleasedWhenItsThreadWasJoined) {
    auto token = std::make_shared<int>(1);
    Thread thread;
    thread.start([token](void*) {}, nullptr);
    ASSERT_EQ(thread.wait(Thread::kNoTimeout), 2u);
    EXPECT_EQ(token.use_count(), 1);
}

TEST(Thread, DeliberateStaysStartedWhenNoThreadCouldBeCreated) {
    Thread thread;
    {
        const faults::NoMoreThreads shortage;
        EXPECT_EQ(errorOf([&] { thread.start([](void*) {}, nullptr); }),
                  std::errc::resource_unavailable_try_again);
    }
    std::atomic<int> calls = 0;
    thread.start([&](void*) { ++calls; }, nullptr);
    EXPECT_EQ(errorOf([&] { thread.wait(0); }), std::errc::invalid_argument);
    EXPECT_EQ(errorOf([&] { thread.wait(Thread::kNoTimeout); }), std::errc::invalid_argument);
    EXPECT_EQ(calls, 0);
}

}  // namespace
