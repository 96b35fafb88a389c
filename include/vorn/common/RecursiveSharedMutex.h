#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>

#include <vorn/common/export.h>

namespace vorn::common {

/// A shared mutex that a thread may lock again in either mode, and that reports wrong use. It works
/// with std::unique_lock, std::shared_lock and std::scoped_lock:
///
///     std::shared_lock reading(mutex);
///     if (isStale()) {
///         std::unique_lock writing(mutex);  // upgrade: the only reader becomes the writer
///         refresh();
///     }
///
/// What an operation of thread T does. try_lock and try_lock_shared return false where lock and
/// lock_shared wait; "not unique", "not shared" and "wrong thread" are the texts below.
///
/// | Held                     | lock             | unlock       | lock_shared | unlock_shared    |
/// |--------------------------|------------------|--------------|-------------|------------------|
/// | not at all               | exclusive by T   | not unique   | shared by T | not shared       |
/// | shared by T alone        | exclusive by T   | not unique   | one more    | one less, or     |
/// |                          | (shared stays)   |              |             | not at all       |
/// | shared by T and others   | waits until T is | not unique   | one more    | one less, or by  |
/// |                          | alone            |              |             | others alone     |
/// | shared by others         | waits until none | not unique   | shared by T | wrong thread     |
/// | exclusive by T           | one more         | one less, or | shared by T | not shared       |
/// |                          |                  | not at all   | as well     |                  |
/// | exclusive and shared     | one more         | one less, or | one more    | one less, or     |
/// | by T                     |                  | shared by T  |             | exclusive by T   |
/// | exclusive by another     | waits            | wrong thread | waits       | not shared       |
/// | exclusive and shared     | waits            | wrong thread | waits       | wrong thread     |
/// | by another               |                  |              |             |                  |
///
/// The texts, each in a std::logic_error that leaves the state unchanged:
/// - not unique: "Cannot unique-unlock because not uniqly locked"
/// - wrong thread: "Cannot unique-unlock because of the wrong thread"
/// - not shared: "Cannot shared-unlock because not sharedly locked"
/// - wrong thread: "Cannot shared-unlock because of the wrong thread"
///
/// Deliberate: two readers that both upgrade wait for each other for ever; upgrade where one thread
/// can be the sole reader, or use try_lock.
/// Deliberate: a thread id is reused at once after its thread ends, so a thread must not end while
/// it holds the mutex: a new thread would find itself the holder.
///
/// Threads: each lock is released by the thread that took it, in its own mode. An unlock wakes only
/// those who can enter: all readers, and one writer when no reader is left.
/// Lifetime: a thread may destroy the mutex as soon as it has the last lock and released it, even
/// while the unlock that let it in has not returned yet.
/// Not guaranteed: an order of entry; a stream of readers can keep a writer waiting for ever.
/// Taking a lock allocates memory only when more threads read at once than ever before.
class VORN_GW_COMMON_EXPORT RecursiveSharedMutex {
  public:
    RecursiveSharedMutex() = default;
    RecursiveSharedMutex(const RecursiveSharedMutex&) = delete;
    RecursiveSharedMutex& operator=(const RecursiveSharedMutex&) = delete;

    void lock();
    [[nodiscard]] bool try_lock();
    void unlock();

    /// This and try_lock_shared() throw std::bad_alloc when out of memory, the lock not taken.
    void lock_shared();
    [[nodiscard]] bool try_lock_shared();
    void unlock_shared();

  private:
    using ThreadId = std::thread::id;

    [[nodiscard]] bool isOwner(ThreadId self) const;
    [[nodiscard]] bool canBeginUniqueLock(ThreadId self) const;
    [[nodiscard]] bool canShare(ThreadId self) const;
    void increaseUniqueLocks();
    void beginUniqueLock(ThreadId self);
    void takeUniqueLock(ThreadId self);
    void decreaseUniqueLocks(ThreadId self);
    void increaseSharedLocks(ThreadId self);
    void decreaseSharedLocks(ThreadId self);

    std::uint32_t uniqueLocks_ = 0;  // guarded by mutex_
    ThreadId uniqueOwner_;           // guarded by mutex_; meaningful while uniqueLocks_ is not 0
    std::condition_variable readers_;
    std::condition_variable writers_;
    std::condition_variable upgraders_;
    std::mutex mutex_;
    std::map<ThreadId, std::uint32_t> sharedLocks_;      // guarded by mutex_; no count is 0
    std::multimap<ThreadId, std::uint32_t> spareNodes_;  // guarded by mutex_
};

}  // namespace vorn::common
