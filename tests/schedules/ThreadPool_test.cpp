// SPDX-License-Identifier: MIT

// Tasks are run once each or discarded, whoever waits is told, and nobody touches a pool that is
// gone.

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include <vorn/common/ThreadPool.h>

#include "schedules/expect.h"

namespace {

using schedules::expectNoFailure;
using schedules::require;
using vorn::common::ThreadPool;

void waitUntilIdle(ThreadPool& pool) {
    std::unique_lock lock(pool.mutex());
    pool.stateChanged().wait(lock, [&] { return pool._isIdle(lock); });
}

TEST(ThreadPoolSchedules, TasksOfTwoThreadsRunOnceEach) {
    expectNoFailure([] {
        ThreadPool pool(1);
        int ran = 0;
        std::thread other([&] { pool._emplaceTask([&] { ++ran; }); });
        pool._emplaceTask([&] { ++ran; });
        other.join();
        waitUntilIdle(pool);
        require(ran == 2, "a task has not run, or twice");
    });
}

TEST(ThreadPoolSchedules, TwoWorkersRunTwoTasksAtOnce) {
    expectNoFailure(
        [] {
            ThreadPool pool(2);
            std::mutex mutex;
            std::condition_variable met;
            int here = 0;
            const auto meet = [&] {
                std::unique_lock lock(mutex);
                ++here;
                met.notify_all();
                met.wait(lock, [&] { return here == 2; });
            };
            pool._emplaceTask(meet);
            pool._emplaceTask(meet);
            waitUntilIdle(pool);
            require(here == 2, "the tasks have not met");
        },
        {.preemptions = 0});
}

TEST(ThreadPoolSchedules, TheDestructorRunsOrDiscardsWhatIsQueued) {
    expectNoFailure([] {
        int ran = 0;
        bool gone = false;
        {
            ThreadPool pool(1);
            for (int i = 0; i < 2; ++i) {
                pool._emplaceTask([&] {
                    require(!gone, "a task runs in a pool that is gone");
                    ++ran;
                });
            }
        }
        gone = true;
        require(ran <= 2, "a task has run twice");
    });
}

TEST(ThreadPoolSchedules, ATaskThatAddsAnotherIsToldOfTheEnd) {
    expectNoFailure([] {
        int ran = 0;
        int refused = 0;
        {
            ThreadPool pool(1);
            pool._emplaceTask([&] {
                try {
                    pool._emplaceTask([&] { ++ran; });
                } catch (const std::runtime_error&) {
                    ++refused;
                }
            });
        }
        require(ran + refused <= 1, "a refused task has run");
    });
}

TEST(ThreadPoolSchedules, WhoWaitsForAnEmptyQueueIsToldOfItsClearing) {
    expectNoFailure([] {
        ThreadPool pool(1);
        int ran = 0;
        pool._emplaceTask([&] { ++ran; });
        pool._emplaceTask([&] { ++ran; });
        std::thread other([&] { pool.clearQueue(); });
        waitUntilIdle(pool);
        require(ran <= 2 && pool.tasks().first == 0, "something is left");
        other.join();
    });
}

TEST(ThreadPoolSchedules, ATaskThatWaitsForAFreeWorkerIsToldByTheDestructor) {
    expectNoFailure(
        [] {
            ThreadPool pool(2);
            pool._emplaceTask([&] {
                std::unique_lock lock(pool.mutex());
                pool.stateChanged().wait(lock, [&] { return pool._hasFreeWorker(lock); });
            });
            pool._emplaceTask([] {});
            pool._emplaceTask([] {});
        },
        {.preemptions = 1});
}

/// Set once, and waited for.
class Event {
  public:
    void set() {
        const std::lock_guard lock(mutex_);
        isSet_ = true;
        changed_.notify_all();
    }
    void wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isSet_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isSet_ = false;
};

TEST(ThreadPoolSchedules, WhoWaitsForABusyPoolIsToldByTheFirstOfTwoTasks) {
    expectNoFailure([] {
        Event seen;
        ThreadPool pool(1);
        std::thread other([&] {
            pool._emplaceTask([&] { seen.wait(); });
            pool._emplaceTask([] {});
        });
        {
            std::unique_lock lock(pool.mutex());
            pool.stateChanged().wait(lock, [&] { return pool._isBusy(lock); });
        }
        seen.set();
        other.join();
    });
}

TEST(ThreadPoolSchedules, WhoWaitsForAFreeWorkerIsToldWhenABusyOneTakesTheLastTask) {
    expectNoFailure(
        [] {
            Event seen;
            ThreadPool pool(2);
            pool._emplaceTask([] {});
            pool._emplaceTask([&] { seen.wait(); });
            {
                std::unique_lock lock(pool.mutex());
                pool.stateChanged().wait(lock, [&] { return pool._hasFreeWorker(lock); });
            }
            seen.set();
        },
        {.preemptions = 1});
}

TEST(ThreadPoolSchedules, ATaskMayLetThePoolBeDestroyedBeforeItsSubmitterReturns) {
    expectNoFailure([] {
        alignas(ThreadPool) std::byte place[sizeof(ThreadPool)];
        auto* const pool = new (place) ThreadPool(1);
        // Its notification may still be on the way to the worker, which then takes both tasks.
        pool->_emplaceTask([] {});
        Event ran;
        std::thread submitter([&] { pool->_emplaceTask([&] { ran.set(); }); });
        ran.wait();
        pool->~ThreadPool();
        schedules::forbid(place, sizeof(place));
        submitter.join();
    });
}

}  // namespace
