// SPDX-License-Identifier: MIT
#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/RecursiveSharedMutex.h>

#include "helpers/Actor.h"
#include "helpers/thread_state.h"

namespace {

using helpers::Actor;
using helpers::waitUntilAsleep;
using vorn::common::RecursiveSharedMutex;

bool isPending(const std::future<void>& result) {
    return result.wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
}

TEST(RecursiveSharedMutex, WaitersEnterWhenWhatKeptThemOutIsReleased) {
    struct Row {
        const char* name;
        bool heldExclusive;
        bool wantsExclusive;
        bool wantsUpgrade;
    };
    for (const auto& row : {Row{"writer behind writer", true, true, false},
                            Row{"reader behind writer", true, false, false},
                            Row{"writer behind reader", false, true, false},
                            Row{"upgrade behind reader", false, true, true}}) {
        SCOPED_TRACE(row.name);
        RecursiveSharedMutex mutex;
        Actor waiter;
        if (row.wantsUpgrade) {
            waiter.run([&] { mutex.lock_shared(); });
        }
        row.heldExclusive ? mutex.lock() : mutex.lock_shared();
        auto entered =
            waiter.post([&] { row.wantsExclusive ? mutex.lock() : mutex.lock_shared(); });
        ASSERT_TRUE(waitUntilAsleep(waiter.tid()));
        EXPECT_TRUE(isPending(entered));
        row.heldExclusive ? mutex.unlock() : mutex.unlock_shared();
        entered.get();
        EXPECT_EQ(mutex.try_lock_shared(), !row.wantsExclusive);
        if (!row.wantsExclusive) {
            mutex.unlock_shared();
        }
        waiter.run([&] {
            row.wantsExclusive ? mutex.unlock() : mutex.unlock_shared();
            if (row.wantsUpgrade) {
                mutex.unlock_shared();
            }
        });
    }
}

bool isDone(const std::future<void>& result) {
    return result.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
}

TEST(RecursiveSharedMutex, AWriterEntersWhenAnOwnersSharedLockEndsAfterItsExclusiveOne) {
    RecursiveSharedMutex mutex;
    Actor writer;
    mutex.lock();
    mutex.lock_shared();
    auto entered = writer.post([&] { mutex.lock(); });
    ASSERT_TRUE(waitUntilAsleep(writer.tid()));
    mutex.unlock();
    ASSERT_TRUE(waitUntilAsleep(writer.tid()));
    EXPECT_TRUE(isPending(entered));
    mutex.unlock_shared();
    EXPECT_TRUE(isDone(entered));
    writer.run([&] { mutex.unlock(); });
}

TEST(RecursiveSharedMutex, AWriterEntersWhenAReaderThatCameLaterLeavesLast) {
    // As many readers as make some of them overflow into the map.
    for (const std::size_t count : {1u, 12u}) {
        SCOPED_TRACE(count);
        RecursiveSharedMutex mutex;
        Actor writer;
        std::vector<Actor> later(count);
        mutex.lock_shared();
        auto entered = writer.post([&] { mutex.lock(); });
        ASSERT_TRUE(waitUntilAsleep(writer.tid()));
        for (auto& reader : later) {
            reader.run([&] { mutex.lock_shared(); });
        }
        mutex.unlock_shared();
        for (auto& reader : later) {
            ASSERT_TRUE(waitUntilAsleep(writer.tid()));
            EXPECT_TRUE(isPending(entered));
            reader.run([&] { mutex.unlock_shared(); });
        }
        EXPECT_TRUE(isDone(entered));
        writer.run([&] { mutex.unlock(); });
    }
}

TEST(RecursiveSharedMutex, AllWaitingReadersEnterWhenTheExclusiveLockEnds) {
    for (const bool ownerShares : {false, true}) {
        SCOPED_TRACE(ownerShares);
        RecursiveSharedMutex mutex;
        std::vector<Actor> readers(3);
        std::vector<std::future<void>> entered;
        mutex.lock();
        if (ownerShares) {
            mutex.lock_shared();
        }
        for (auto& reader : readers) {
            entered.push_back(reader.post([&] { mutex.lock_shared(); }));
            ASSERT_TRUE(waitUntilAsleep(reader.tid()));
        }
        mutex.unlock();
        for (auto& one : entered) {
            one.get();
        }
        for (auto& reader : readers) {
            reader.run([&] { mutex.unlock_shared(); });
        }
        if (ownerShares) {
            mutex.unlock_shared();
        }
    }
}

TEST(RecursiveSharedMutex, EveryNestedLockIsReleasedBeforeOthersEnter) {
    RecursiveSharedMutex mutex;
    Actor reader;
    mutex.lock();
    mutex.lock();
    auto entered = reader.post([&] { mutex.lock_shared(); });
    ASSERT_TRUE(waitUntilAsleep(reader.tid()));
    mutex.unlock();
    ASSERT_TRUE(waitUntilAsleep(reader.tid()));
    EXPECT_TRUE(isPending(entered));
    mutex.unlock();
    entered.get();
    reader.run([&] { mutex.unlock_shared(); });
}

TEST(RecursiveSharedMutex, AnUpgradeComesBeforeWritersThatHoldNothing) {
    RecursiveSharedMutex mutex;
    Actor upgrader;
    Actor writer;
    mutex.lock_shared();
    upgrader.run([&] { mutex.lock_shared(); });
    auto written = writer.post([&] { mutex.lock(); });
    ASSERT_TRUE(waitUntilAsleep(writer.tid()));
    auto upgraded = upgrader.post([&] { mutex.lock(); });
    ASSERT_TRUE(waitUntilAsleep(upgrader.tid()));
    mutex.unlock_shared();
    upgraded.get();
    EXPECT_TRUE(isPending(written));
    upgrader.run([&] { mutex.unlock(); });
    ASSERT_TRUE(waitUntilAsleep(writer.tid()));
    EXPECT_TRUE(isPending(written));
    upgrader.run([&] { mutex.unlock_shared(); });
    written.get();
    writer.run([&] { mutex.unlock(); });
}

// More readers than have a place of their own: the last ones stand in the map.
TEST(RecursiveSharedMutex, AReaderBeyondThePlacesUpgradesWhenItIsTheOnlyOne) {
    RecursiveSharedMutex mutex;
    std::vector<Actor> others(9);
    Actor upgrader;
    for (auto& reader : others) {
        reader.run([&] { mutex.lock_shared(); });
    }
    upgrader.run([&] { mutex.lock_shared(); });
    EXPECT_FALSE(upgrader.run([&] { return mutex.try_lock(); }));
    auto upgraded = upgrader.post([&] { mutex.lock(); });
    ASSERT_TRUE(waitUntilAsleep(upgrader.tid()));
    for (auto& reader : others) {
        EXPECT_TRUE(isPending(upgraded));
        reader.run([&] { mutex.unlock_shared(); });
    }
    upgraded.get();
    upgrader.run([&] {
        mutex.unlock();
        EXPECT_TRUE(mutex.try_lock()) << "again, and nobody waits";
        mutex.unlock();
        mutex.unlock_shared();
    });
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(RecursiveSharedMutex, AnOwnerSharesWhileOthersWait) {
    RecursiveSharedMutex mutex;
    Actor writer;
    mutex.lock();
    auto written = writer.post([&] { mutex.lock(); });
    ASSERT_TRUE(waitUntilAsleep(writer.tid()));
    EXPECT_TRUE(mutex.try_lock_shared());
    mutex.lock_shared();
    mutex.unlock();
    EXPECT_TRUE(isPending(written));
    mutex.unlock_shared();
    mutex.unlock_shared();
    written.get();
    writer.run([&] { mutex.unlock(); });
}

TEST(RecursiveSharedMutex, DeliberatelyLetsTwoUpgradesWaitForEachOther) {
    auto mutex = std::make_unique<RecursiveSharedMutex>();
    Actor first;
    Actor second;
    Actor third;
    for (auto* reader : {&first, &second, &third}) {
        reader->run([&] { mutex->lock_shared(); });
    }
    auto firstUpgrade = first.post([&] { mutex->lock(); });
    ASSERT_TRUE(waitUntilAsleep(first.tid()));
    EXPECT_FALSE(second.run([&] { return mutex->try_lock(); }));
    third.run([&] { mutex->unlock_shared(); });
    ASSERT_TRUE(waitUntilAsleep(first.tid()));
    EXPECT_TRUE(isPending(firstUpgrade));
    // The second one gives way instead of upgrading too.
    second.run([&] { mutex->unlock_shared(); });
    firstUpgrade.get();
    first.run([&] {
        mutex->unlock();
        mutex->unlock_shared();
    });
}

TEST(RecursiveSharedMutex, DoesNotWakeWaitersThatCannotEnter) {
    RecursiveSharedMutex mutex;
    std::vector<Actor> writers(4);
    std::vector<std::future<void>> entered;
    mutex.lock_shared();
    for (auto& writer : writers) {
        entered.push_back(writer.post([&] {
            mutex.lock();
            mutex.unlock();
        }));
        ASSERT_TRUE(waitUntilAsleep(writer.tid()));
    }
    std::vector<long> before;
    for (auto& writer : writers) {
        before.push_back(helpers::sleepsOf(writer.tid()));
        ASSERT_GE(before.back(), 0);
    }
    Actor reader;
    for (int i = 0; i < 500; ++i) {
        reader.run([&] {
            mutex.lock_shared();
            mutex.unlock_shared();
        });
    }
    for (std::size_t i = 0; i < writers.size(); ++i) {
        EXPECT_LT(helpers::sleepsOf(writers[i].tid()) - before[i], 100);
    }
    mutex.unlock_shared();
    for (auto& one : entered) {
        one.get();
    }
}

TEST(RecursiveSharedMutex, MayBeDestroyedByTheNextOwnerWhileUnlockStillReturns) {
    for (const bool exclusive : {true, false}) {
        for (int round = 0; round < 200; ++round) {
            auto* mutex = new RecursiveSharedMutex;
            std::latch locked(1);
            std::thread first([&, exclusive] {
                exclusive ? mutex->lock() : mutex->lock_shared();
                locked.count_down();
                exclusive ? mutex->unlock() : mutex->unlock_shared();
            });
            locked.wait();
            mutex->lock();
            mutex->unlock();
            delete mutex;
            first.join();
        }
    }
}

TEST(RecursiveSharedMutex, KeepsWritersApartFromEverybody) {
    RecursiveSharedMutex mutex;
    int value = 0;
    std::atomic<int> inside = 0;
    std::atomic<bool> together = false;
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id) {
        threads.emplace_back([&, id] {
            for (int i = 0; i < 500; ++i) {
                if ((i + id) % 4 == 0) {
                    const std::unique_lock writing(mutex);
                    const std::unique_lock again(mutex);
                    if (++inside != 1) {
                        together = true;
                    }
                    ++value;
                    --inside;
                } else {
                    const std::shared_lock reading(mutex);
                    const std::shared_lock again(mutex);
                    if (inside != 0) {
                        together = true;
                    }
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(value, 500);
    EXPECT_FALSE(together);
}

}  // namespace
