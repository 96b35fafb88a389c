// SPDX-License-Identifier: MIT
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <future>
#include <latch>
#include <mutex>
#include <optional>
#include <semaphore>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/ThreadPool.h>

#include "helpers/Actor.h"
#include "helpers/faults/calls.h"
#include "helpers/thread_state.h"
#include "helpers/wait_until.h"

namespace {

using vorn::common::ThreadPool;

void waitUntilIdle(ThreadPool& pool) {
    std::unique_lock lock(pool.mutex());
    pool.stateChanged().wait(lock, [&] { return pool._isIdle(lock); });
}

/// A task that keeps its worker until it is released.
class Blocker {
  public:
    void operator()() {
        started_.count_down();
        released_.wait();
    }
    void waitForStart() const { started_.wait(); }
    void release() { released_.count_down(); }

  private:
    std::latch started_{1};
    std::latch released_{1};
};

/// Two threads that wait on the pool's condition variable for its next notification.
class Listeners {
  public:
    explicit Listeners(ThreadPool& pool) : pool_(pool) {}

    /// Whether `step` notifies both who wait.
    template <class Step>
    [[nodiscard]] bool hear(Step step) {
        std::vector<std::future<void>> heard;
        bool all = true;
        for (auto& waiter : waiters_) {
            heard.push_back(waiter.post([this] {
                std::unique_lock lock(pool_.mutex());
                pool_.stateChanged().wait(lock);
            }));
            all = helpers::waitUntilAsleep(waiter.tid()) && all;
        }
        step();
        for (auto& told : heard) {
            all = told.wait_for(std::chrono::seconds(30)) == std::future_status::ready && all;
        }
        pool_.stateChanged().notify_all();
        for (auto& told : heard) {
            told.get();
        }
        return all;
    }

  private:
    ThreadPool& pool_;
    std::array<helpers::Actor, 2> waiters_;
};

TEST(ThreadPool, NotifiesWaitersOfEachStepByItself) {
    ThreadPool pool(1);
    Listeners listeners(pool);
    Blocker first;
    Blocker second;
    pool._emplaceTask([&] { first(); });
    first.waitForStart();
    EXPECT_TRUE(listeners.hear([&] { pool._emplaceTask([&] { second(); }); })) << "a task is added";
    EXPECT_TRUE(listeners.hear([&] { first.release(); })) << "the last queued task is taken";
    second.waitForStart();
    pool._emplaceTask([] {});
    EXPECT_TRUE(listeners.hear([&] { pool.clearQueue(); })) << "the queue is cleared";
    EXPECT_TRUE(listeners.hear([&] { second.release(); })) << "the worker is free";
    EXPECT_TRUE(pool.isIdle());
}

TEST(ThreadPool, TellsAllRunningTasksThatItsDestructionClearsTheQueue) {
    int told = 0;  // guarded by the pool's mutex
    {
        ThreadPool pool(2);
        std::array<std::promise<pid_t>, 2> workers;
        std::latch queued(1);
        for (auto& worker : workers) {
            pool._emplaceTask([&] {
                queued.wait();
                std::unique_lock lock(pool.mutex());
                worker.set_value(::gettid());
                told += pool.stateChanged().wait_for(lock, std::chrono::seconds(30)) ==
                                std::cv_status::no_timeout
                            ? 1
                            : 0;
            });
        }
        pool._emplaceTask([] {});
        queued.count_down();
        for (auto& worker : workers) {
            ASSERT_TRUE(helpers::waitUntilAsleep(worker.get_future().get()));
        }
    }
    EXPECT_EQ(told, 2);
}

bool waitUntilAllAsleep(const std::vector<pid_t>& threads) {
    int looks = 0;
    return helpers::waitUntil([&] {
        looks = std::all_of(threads.begin(), threads.end(), helpers::isSleeping) ? looks + 1 : 0;
        return looks == 10;
    });
}

std::vector<long> sleepsOf(const std::vector<pid_t>& threads) {
    std::vector<long> sleeps;
    for (const auto thread : threads) {
        sleeps.push_back(helpers::sleepsOf(thread));
    }
    return sleeps;
}

TEST(ThreadPool, WakesAtMostOneWorkerForATask) {
    constexpr int kWorkers = 6;
    constexpr int kTasks = 10;
    ThreadPool pool(kWorkers);
    std::mutex mutex;
    std::vector<pid_t> workers;
    std::latch met(kWorkers);
    for (int i = 0; i < kWorkers; ++i) {
        pool._emplaceTask([&] {
            {
                const std::lock_guard lock(mutex);
                workers.push_back(::gettid());
            }
            met.arrive_and_wait();
        });
    }
    waitUntilIdle(pool);
    ASSERT_TRUE(waitUntilAllAsleep(workers));
    int woken = 0;
    for (int task = 0; task < kTasks; ++task) {
        const auto before = sleepsOf(workers);
        ASSERT_GE(before[0], 0);
        pool._emplaceTask([] {});
        waitUntilIdle(pool);
        ASSERT_TRUE(waitUntilAllAsleep(workers));
        const auto after = sleepsOf(workers);
        for (int i = 0; i < kWorkers; ++i) {
            woken += after[i] != before[i] ? 1 : 0;
        }
    }
    EXPECT_GE(woken, kTasks);
    // Leaves room for a wake-up without a reason now and then.
    EXPECT_LT(woken, 2 * kTasks);
}

TEST(ThreadPool, DestructionLetsASubmitterOfALowerPriorityReturn) {
    const faults::Calls calls(faults::Threads::All);
    helpers::Actor owner;
    const bool permitted = owner.run([] {
        // On one processor, where whoever has the higher priority runs alone.
        cpu_set_t processor;
        CPU_ZERO(&processor);
        CPU_SET(::sched_getcpu(), &processor);
        sched_param realTime{};
        realTime.sched_priority = 1;
        return ::sched_setaffinity(0, sizeof(processor), &processor) == 0 &&
               ::sched_setscheduler(0, SCHED_FIFO, &realTime) == 0;
    });
    if (!permitted) {
        GTEST_SKIP() << "needs the privilege to set a real-time priority";
    }
    owner.run([] {
        std::optional<ThreadPool> pool(1);
        std::binary_semaphore ran(0);
        std::thread submitter([&] {
            const sched_param usual{};
            EXPECT_EQ(::sched_setscheduler(0, SCHED_OTHER, &usual), 0);
            // The worker runs, and the owner goes on, before this returns.
            pool->_emplaceTask([&] { ran.release(); });
        });
        ran.acquire();
        pool.reset();
        submitter.join();
    });
    EXPECT_LT(calls.count(faults::Call::sched_yield), 100);
}

TEST(ThreadPool, YieldsTheProcessorAfterEachTaskButNotAfterAnEmptyOne) {
    const faults::Calls calls(faults::Threads::All);
    const auto yields = [&] { return calls.count(faults::Call::sched_yield); };
    ThreadPool pool(1);
    const auto before = yields();
    pool._emplaceTask({});
    waitUntilIdle(pool);
    EXPECT_EQ(yields() - before, 0);
    for (int i = 0; i < 3; ++i) {
        pool._emplaceTask([] {});
    }
    pool._emplaceTask({});
    waitUntilIdle(pool);
    EXPECT_EQ(yields() - before, 3);
}

}  // namespace
