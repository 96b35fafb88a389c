// SPDX-License-Identifier: MIT
#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/ThreadPool.h>

#include "helpers/Actor.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/allocation.h"
#include "helpers/thread_state.h"
#include "helpers/wait_until.h"

namespace {

using vorn::common::ThreadPool;
using Tasks = std::pair<std::size_t, std::size_t>;

/// Runs a function when the last copy is destroyed.
std::shared_ptr<void> atEnd(std::function<void()> action) {
    return {nullptr, [action = std::move(action)](void*) { action(); }};
}

void waitUntilIdle(ThreadPool& pool) {
    std::unique_lock lock(pool.mutex());
    pool.stateChanged().wait(lock, [&] { return pool._isIdle(lock); });
}

/// Tasks that keep their workers until release().
class Blockers {
  public:
    Blockers(ThreadPool& pool, int count) : started_(count) {
        for (int i = 0; i < count; ++i) {
            pool._emplaceTask([this] {
                started_.count_down();
                released_.wait();
            });
        }
        started_.wait();
    }
    void release() { released_.count_down(); }

  private:
    std::latch started_;
    std::latch released_{1};
};

TEST(ThreadPool, IsIdleWhenItsConstructorReturns) {
    for (int round = 0; round < 50; ++round) {
        for (const std::size_t size : {1u, 2u, 7u}) {
            const ThreadPool pool(size);
            EXPECT_TRUE(pool.isIdle());
            EXPECT_FALSE(pool.isBusy());
            EXPECT_TRUE(pool.hasFreeWorker());
            EXPECT_EQ(pool.tasks(), Tasks(0, 0));
        }
    }
}

TEST(ThreadPool, AnswersByFreeWorkersAndQueue) {
    struct Row {
        int running;
        int queued;
        bool hasFreeWorker;
    };
    for (const auto& row :
         {Row{1, 0, true}, Row{2, 0, false}, Row{2, 1, false}, Row{2, 3, false}}) {
        SCOPED_TRACE(testing::Message() << row.running << " running, " << row.queued << " queued");
        ThreadPool pool(2);
        Blockers blockers(pool, row.running);
        for (int i = 0; i < row.queued; ++i) {
            pool._emplaceTask([] {});
        }
        EXPECT_FALSE(pool.isIdle());
        EXPECT_TRUE(pool.isBusy());
        EXPECT_EQ(pool.hasFreeWorker(), row.hasFreeWorker);
        EXPECT_EQ(pool.tasks(), Tasks(row.queued, row.running));
        {
            std::unique_lock lock(pool.mutex());
            EXPECT_FALSE(pool._isIdle(lock));
            EXPECT_TRUE(pool._isBusy(lock));
            EXPECT_EQ(pool._hasFreeWorker(lock), row.hasFreeWorker);
        }
        blockers.release();
        waitUntilIdle(pool);
        EXPECT_EQ(pool.tasks(), Tasks(0, 0));
    }
}

TEST(ThreadPool, TakesTasksInTheOrderOfSubmission) {
    std::vector<int> order;
    ThreadPool pool(1);
    for (int i = 0; i < 100; ++i) {
        pool._emplaceTask([&order, i] { order.push_back(i); });
    }
    waitUntilIdle(pool);
    ASSERT_EQ(order.size(), 100u);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(order[i], i);
    }
}

TEST(ThreadPool, RunsEveryTaskOfManySubmitters) {
    std::atomic<int> ran = 0;
    ThreadPool pool(3);
    std::vector<std::thread> submitters;
    for (int i = 0; i < 4; ++i) {
        submitters.emplace_back([&] {
            for (int task = 0; task < 500; ++task) {
                pool._emplaceTask([&] { ++ran; });
            }
        });
    }
    for (auto& submitter : submitters) {
        submitter.join();
    }
    waitUntilIdle(pool);
    EXPECT_EQ(ran, 2000);
}

TEST(ThreadPool, ShowsEveryChangeOfTheIdleStateToWaiters) {
    ThreadPool pool(2);
    for (int round = 0; round < 300; ++round) {
        std::atomic<int> ran = 0;
        for (int task = 0; task < 3; ++task) {
            pool._emplaceTask([&] { ++ran; });
        }
        waitUntilIdle(pool);
        EXPECT_EQ(ran, 3);
    }
}

TEST(ThreadPool, TellsWaitersThatItBecameBusyAndHasNoFreeWorkerForAQueuedTask) {
    ThreadPool pool(1);
    for (int round = 0; round < 100; ++round) {
        std::latch released(1);
        std::thread submitter([&] { pool._emplaceTask([&] { released.wait(); }); });
        {
            // The task has been taken, or is still queued beside a worker that waits.
            std::unique_lock lock(pool.mutex());
            pool.stateChanged().wait(lock, [&] { return pool._isBusy(lock); });
            EXPECT_FALSE(pool._hasFreeWorker(lock));
        }
        released.count_down();
        submitter.join();
        waitUntilIdle(pool);
    }
}

TEST(ThreadPool, SkipsEmptyTasks) {
    ThreadPool pool(1);
    bool ran = false;
    pool._emplaceTask({});
    pool._emplaceTask([&] { ran = true; });
    pool._emplaceTask({});
    waitUntilIdle(pool);
    EXPECT_TRUE(ran);
}

TEST(ThreadPool, KnowsItsWorkers) {
    ThreadPool pool(3);
    ThreadPool other(1);
    std::promise<std::thread::id> worker;
    pool._emplaceTask([&] { worker.set_value(std::this_thread::get_id()); });
    const auto id = worker.get_future().get();
    EXPECT_TRUE(pool.isWorkerThread(id));
    EXPECT_FALSE(other.isWorkerThread(id));
    EXPECT_FALSE(pool.isWorkerThread(std::this_thread::get_id()));
    EXPECT_FALSE(pool.isWorkerThread(std::thread::id()));
}

TEST(ThreadPool, KnowsItsWorkersWhileItIsBeingDestroyed) {
    std::atomic<bool> stopping = false;
    std::atomic<int> recognised = 0;
    {
        ThreadPool pool(3);
        std::latch started(1);
        pool._emplaceTask([&] {
            started.count_down();
            while (!stopping) {
                std::this_thread::yield();
            }
            for (int i = 0; i < 1000; ++i) {
                recognised += pool.isWorkerThread(std::this_thread::get_id()) ? 1 : 0;
            }
        });
        started.wait();
        Blockers blockers(pool, 2);
        pool._emplaceTask([guard = atEnd([&] { stopping = true; })] {});
        blockers.release();
    }
    EXPECT_EQ(recognised, 1000);
}

TEST(ThreadPool, ClearQueueDropsWhatNoWorkerHasTaken) {
    ThreadPool pool(2);
    Blockers blockers(pool, 2);
    std::atomic<int> ran = 0;
    for (int i = 0; i < 5; ++i) {
        pool._emplaceTask([&] { ++ran; });
    }
    pool.clearQueue();
    EXPECT_EQ(pool.tasks(), Tasks(0, 2));
    blockers.release();
    waitUntilIdle(pool);
    EXPECT_EQ(ran, 0);
}

TEST(ThreadPool, DestroysDiscardedAndFinishedTasksWithoutItsMutex) {
    ThreadPool pool(1);
    std::atomic<int> destroyed = 0;
    const auto askPool = [&] {
        static_cast<void>(pool.tasks());
        ++destroyed;
    };
    pool._emplaceTask([guard = atEnd(askPool)] {});
    EXPECT_TRUE(helpers::waitUntil([&] { return destroyed == 1; }));
    waitUntilIdle(pool);
    Blockers blockers(pool, 1);
    pool._emplaceTask([guard = atEnd(askPool)] {});
    pool.clearQueue();
    EXPECT_EQ(destroyed, 2);
    blockers.release();
}

TEST(ThreadPool, DestructionDropsQueuedTasksAndWaitsForRunningOnes) {
    std::atomic<bool> dropped = false;
    std::atomic<bool> finished = false;
    std::atomic<int> ran = 0;
    {
        ThreadPool pool(1);
        std::latch started(1);
        pool._emplaceTask([&] {
            started.count_down();
            while (!dropped) {
                std::this_thread::yield();
            }
            finished = true;
        });
        started.wait();
        pool._emplaceTask([&ran, guard = atEnd([&] {
                                     static_cast<void>(pool.tasks());
                                     dropped = true;
                                 })] { ++ran; });
        pool._emplaceTask([&] { ++ran; });
    }
    EXPECT_TRUE(finished);
    EXPECT_EQ(ran, 0);
}

TEST(ThreadPool, RefusesTasksOnceItsDestructionHasBegun) {
    testing::AssertionResult refused = testing::AssertionFailure() << "not tried";
    bool late = false;
    {
        ThreadPool pool(1);
        std::latch started(1);
        std::atomic<bool> dropped = false;
        pool._emplaceTask([&] {
            started.count_down();
            while (!dropped) {
                std::this_thread::yield();
            }
            refused = helpers::throwsText<std::runtime_error>(
                [&] { pool._emplaceTask([&] { late = true; }); },
                "Failed to enqueue on stopped ThreadPool");
        });
        started.wait();
        pool._emplaceTask([guard = atEnd([&] { dropped = true; })] {});
    }
    EXPECT_TRUE(refused);
    EXPECT_FALSE(late);
}

TEST(ThreadPool, LosesNoNotificationBetweenSubmissionAndDestruction) {
    for (int round = 0; round < 200; ++round) {
        std::optional<ThreadPool> pool(std::in_place, 2);
        for (int task = 0; task < round % 4; ++task) {
            pool->_emplaceTask([] {});
        }
        pool.reset();
    }
}

TEST(ThreadPool, AllowsItsDestructionAsSoonAsTheLastTaskHasReported) {
    for (int round = 0; round < 200; ++round) {
        auto pool = std::make_unique<ThreadPool>(1);
        std::latch reported(1);
        std::thread submitter([&] { pool->_emplaceTask([&] { reported.count_down(); }); });
        reported.wait();
        submitter.join();
        pool.reset();
    }
}

TEST(ThreadPool, AllowsItsDestructionByTheEffectOfATaskWhoseSubmissionStillReturns) {
    for (int round = 0; round < 500; ++round) {
        auto* pool = new ThreadPool(1);
        std::latch reported(1);
        std::thread submitter([&] { pool->_emplaceTask([&] { reported.count_down(); }); });
        reported.wait();
        delete pool;
        submitter.join();
    }
}

TEST(ThreadPool, DeliberatelyLocksItsMutexItselfToSubmit) {
    ThreadPool pool(1);
    helpers::Actor submitter;
    std::unique_lock lock(pool.mutex());
    auto submitted = submitter.post([&] { pool._emplaceTask([] {}); });
    ASSERT_TRUE(helpers::waitUntilAsleep(submitter.tid()));
    EXPECT_TRUE(pool._isIdle(lock));
    lock.unlock();
    submitted.get();
}

TEST(ThreadPool, AllocatesAtMostOnceForATaskThatNeedsNoMemoryItself) {
    ThreadPool pool(1);
    Blockers blockers(pool, 1);
    const auto before = faults::allocations(faults::Threads::All);
    for (int i = 0; i < 1000; ++i) {
        pool._emplaceTask([] {});
    }
    EXPECT_LE(faults::allocations(faults::Threads::All) - before, 1000U);
    blockers.release();
}

}  // namespace
