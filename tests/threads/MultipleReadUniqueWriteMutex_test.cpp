// SPDX-License-Identifier: MIT
#include <atomic>
#include <cerrno>
#include <future>
#include <mutex>
#include <shared_mutex>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/locking/MultipleReadUniqueWriteMutex.h>

#include "helpers/Actor.h"
#include "helpers/environment.h"
#include "helpers/faults/calls.h"
#include "helpers/thread_state.h"

namespace {

using helpers::Actor;
using helpers::waitUntilAsleep;
using vorn::common::locking::MultipleReadUniqueWriteMutex;

bool isPending(const std::future<void>& result) {
    return result.wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
}

bool canLock(MultipleReadUniqueWriteMutex& mutex) {
    return std::unique_lock(mutex, std::try_to_lock).owns_lock();
}

bool canShare(MultipleReadUniqueWriteMutex& mutex) {
    return std::shared_lock(mutex, std::try_to_lock).owns_lock();
}

/// The next attempts of this thread to lock a read/write lock fail.
class FailingLocks {
  public:
    FailingLocks(int error, int times) : left_(times) {
        using faults::Call;
        for (const auto call : {Call::pthread_rwlock_rdlock, Call::pthread_rwlock_tryrdlock,
                                Call::pthread_rwlock_wrlock, Call::pthread_rwlock_trywrlock}) {
            calls_.hook(call,
                        [this, error](auto&) { return left_ > 0 && left_-- > 0 ? error : 0; });
        }
    }

    [[nodiscard]] int failuresLeft() const { return left_; }

  private:
    int left_;
    faults::Calls calls_;
};

TEST(MultipleReadUniqueWriteMutex, AdmitsManyReadersOrOneWriter) {
    MultipleReadUniqueWriteMutex mutex;
    Actor other;
    EXPECT_TRUE(canLock(mutex));
    EXPECT_TRUE(canShare(mutex));
    {
        const std::shared_lock reading(mutex);
        EXPECT_TRUE(other.run([&] { return canShare(mutex); }));
        EXPECT_FALSE(other.run([&] { return canLock(mutex); }));
    }
    {
        const std::unique_lock writing(mutex);
        EXPECT_FALSE(other.run([&] { return canShare(mutex); }));
        EXPECT_FALSE(other.run([&] { return canLock(mutex); }));
    }
    EXPECT_TRUE(other.run([&] { return canLock(mutex); }));
}

TEST(MultipleReadUniqueWriteMutex, WaitersEnterWhenWhatKeptThemOutIsReleased) {
    struct Row {
        bool heldExclusive;
        bool wantsExclusive;
    };
    for (const auto& row : {Row{true, true}, Row{true, false}, Row{false, true}}) {
        SCOPED_TRACE(testing::Message() << row.heldExclusive << row.wantsExclusive);
        MultipleReadUniqueWriteMutex mutex;
        Actor waiter;
        row.heldExclusive ? mutex.lock() : mutex.lock_shared();
        auto entered =
            waiter.post([&] { row.wantsExclusive ? mutex.lock() : mutex.lock_shared(); });
        ASSERT_TRUE(waitUntilAsleep(waiter.tid()));
        EXPECT_TRUE(isPending(entered));
        row.heldExclusive ? mutex.unlock() : mutex.unlock_shared();
        entered.get();
        waiter.run([&] { row.wantsExclusive ? mutex.unlock() : mutex.unlock_shared(); });
        EXPECT_TRUE(canLock(mutex));
    }
}

TEST(MultipleReadUniqueWriteMutex, ReleasesBothModesByOneOperation) {
    MultipleReadUniqueWriteMutex mutex;
    mutex.lock();
    mutex.unlock_shared();
    EXPECT_TRUE(canLock(mutex));
    mutex.lock_shared();
    mutex.unlock();
    EXPECT_TRUE(canLock(mutex));
}

TEST(MultipleReadUniqueWriteMutex, ThrowsWhenTheWriterLocksAgain) {
    if (helpers::kThreadSanitizer) {
        GTEST_SKIP() << "the thread sanitizer reports the attempt itself";
    }
    MultipleReadUniqueWriteMutex mutex;
    Actor other;
    mutex.lock();
    for (const bool exclusive : {true, false}) {
        try {
            exclusive ? mutex.lock() : mutex.lock_shared();
            FAIL() << "locked twice";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::errc::resource_deadlock_would_occur);
            EXPECT_EQ(error.code().value(), EDEADLK);
        }
    }
    EXPECT_FALSE(mutex.try_lock());
    EXPECT_FALSE(mutex.try_lock_shared());
    mutex.unlock();
    EXPECT_TRUE(other.run([&] { return canLock(mutex); }));
}

TEST(MultipleReadUniqueWriteMutex, RepeatsASharedLockWhileThereAreTooManyReaders) {
    MultipleReadUniqueWriteMutex mutex;
    Actor other;
    {
        FailingLocks locks(EAGAIN, 3);
        mutex.lock_shared();
        EXPECT_EQ(locks.failuresLeft(), 0);
    }
    EXPECT_FALSE(other.run([&] { return canLock(mutex); }));
    mutex.unlock_shared();
    EXPECT_TRUE(other.run([&] { return canLock(mutex); }));
}

TEST(MultipleReadUniqueWriteMutex, ThrowsForADeadlockAndNoOtherErrorAndPassesTheGate) {
    MultipleReadUniqueWriteMutex mutex;
    Actor other;
    for (const bool exclusive : {true, false}) {
        for (const int failure : {EDEADLK, EINVAL, EBUSY}) {
            SCOPED_TRACE(testing::Message() << exclusive << ", error " << failure);
            FailingLocks locks(failure, 1);
            int thrown = 0;
            try {
                exclusive ? mutex.lock() : mutex.lock_shared();
            } catch (const std::system_error& error) {
                thrown = error.code().value();
            }
            EXPECT_EQ(thrown, failure == EDEADLK ? EDEADLK : 0);
            EXPECT_EQ(locks.failuresLeft(), 0);
            EXPECT_TRUE(other.run([&] { return canLock(mutex); }));
        }
    }
}

TEST(MultipleReadUniqueWriteMutex, ItsTryFormsFailForABusyLockAndForTooManyReadersOnly) {
    struct Row {
        int error;
        bool locks;
        bool shares;
    };
    for (const auto& row : {Row{EBUSY, false, false}, Row{EAGAIN, true, false},
                            Row{EDEADLK, true, true}, Row{EINVAL, true, true}}) {
        SCOPED_TRACE(row.error);
        MultipleReadUniqueWriteMutex mutex;
        Actor other;
        FailingLocks locks(row.error, 2);
        EXPECT_EQ(mutex.try_lock(), row.locks);
        EXPECT_EQ(mutex.try_lock_shared(), row.shares);
        EXPECT_EQ(locks.failuresLeft(), 0);
        EXPECT_TRUE(other.run([&] { return canLock(mutex); }));
    }
}

TEST(MultipleReadUniqueWriteMutex, AWaitingWriterKeepsNewcomersOut) {
    MultipleReadUniqueWriteMutex mutex;
    Actor writer;
    Actor reader;
    mutex.lock_shared();
    auto written = writer.post([&] { mutex.lock(); });
    ASSERT_TRUE(waitUntilAsleep(writer.tid()));
    EXPECT_FALSE(reader.run([&] { return canShare(mutex); }));
    EXPECT_FALSE(reader.run([&] { return canLock(mutex); }));
    auto read = reader.post([&] { mutex.lock_shared(); });
    ASSERT_TRUE(waitUntilAsleep(reader.tid()));
    mutex.unlock_shared();
    written.get();
    EXPECT_TRUE(isPending(read));
    writer.run([&] { mutex.unlock(); });
    read.get();
    reader.run([&] { mutex.unlock_shared(); });
}

TEST(MultipleReadUniqueWriteMutex, DeliberatelyBlocksANestedReaderBehindAWaitingWriter) {
    MultipleReadUniqueWriteMutex mutex;
    Actor reader;
    Actor writer;
    reader.run([&] { mutex.lock_shared(); });
    auto written = writer.post([&] { mutex.lock(); });
    ASSERT_TRUE(waitUntilAsleep(writer.tid()));
    EXPECT_FALSE(reader.run([&] { return mutex.try_lock_shared(); }));
    reader.run([&] { mutex.unlock_shared(); });
    written.get();
    writer.run([&] { mutex.unlock(); });
}

TEST(MultipleReadUniqueWriteMutex, AStreamOfReadersDoesNotStarveAWriter) {
    MultipleReadUniqueWriteMutex mutex;
    std::atomic<bool> done = false;
    std::atomic<long> reads = 0;
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            while (!done) {
                const std::shared_lock reading(mutex);
                ++reads;
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        const std::unique_lock writing(mutex);
        const long before = reads;
        std::this_thread::yield();
        EXPECT_EQ(reads, before);
    }
    done = true;
    for (auto& reader : readers) {
        reader.join();
    }
}

TEST(MultipleReadUniqueWriteMutex, WorksWithAScopedLockOfTwo) {
    MultipleReadUniqueWriteMutex first;
    MultipleReadUniqueWriteMutex second;
    Actor other;
    {
        const std::scoped_lock both(first, second);
        EXPECT_FALSE(other.run([&] { return canShare(first) || canShare(second); }));
    }
    EXPECT_TRUE(canLock(first));
    EXPECT_TRUE(canLock(second));
}

}  // namespace
