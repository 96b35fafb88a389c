// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>

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
/// Cost: a lock that nobody contends for takes no system call and no common lock; up to eight
/// reading threads do not disturb each other. Each object takes about 900 bytes. Taking a lock
/// allocates memory only when more than eight threads read at once, and more than ever before.
class VORN_GW_COMMON_EXPORT RecursiveSharedMutex {
  public:
    RecursiveSharedMutex() = default;
    RecursiveSharedMutex(const RecursiveSharedMutex&) = delete;
    RecursiveSharedMutex& operator=(const RecursiveSharedMutex&) = delete;

    /// As the table says for T, the calling thread.
    /// @{
    void lock();
    [[nodiscard]] bool try_lock();
    void unlock();
    /// @}

    /// This and try_lock_shared() throw std::bad_alloc when out of memory, the lock not taken.
    void lock_shared();
    /// As lock_shared(), without waiting.
    [[nodiscard]] bool try_lock_shared();
    /// As the table says for T, the calling thread.
    void unlock_shared();

  private:
    /// A thread, with marks in its low bits; 0 is nobody.
    using Holder = std::uintptr_t;
    enum class Entry { Taken, Refused, Unclear };

    /// A place for one reading thread, on a cache line of its own.
    struct alignas(64) Slot {
        std::atomic<Holder> reader = 0;
        std::uint32_t locks = 0;  // used by that thread alone
    };

    [[nodiscard]] VORN_GW_COMMON_HIDDEN bool isOwner(Holder self) const noexcept;
    [[nodiscard]] VORN_GW_COMMON_HIDDEN bool isClosed() const noexcept;
    [[nodiscard]] VORN_GW_COMMON_HIDDEN Entry tryOwn(Holder self) noexcept;
    [[nodiscard]] VORN_GW_COMMON_HIDDEN Entry tryShare(Holder self) noexcept;
    VORN_GW_COMMON_HIDDEN void waitToOwn(Holder self);
    VORN_GW_COMMON_HIDDEN void waitToShare(Holder self);
    VORN_GW_COMMON_HIDDEN void unlockWatched(Holder self);
    VORN_GW_COMMON_HIDDEN void unlockWatched(Slot& own, Holder self);

    [[nodiscard]] VORN_GW_COMMON_HIDDEN Slot& homeOf(Holder self) noexcept;
    [[nodiscard]] VORN_GW_COMMON_HIDDEN Slot* slotOf(Holder self) noexcept;
    [[nodiscard]] VORN_GW_COMMON_HIDDEN Slot* claimSlot(Holder self, Holder marks) noexcept;
    VORN_GW_COMMON_HIDDEN void forgetSlot(Slot& slot, Holder self) noexcept;

    // For callers that hold mutex_.
    [[nodiscard]] VORN_GW_COMMON_HIDDEN Holder close() noexcept;
    VORN_GW_COMMON_HIDDEN void open() noexcept;
    [[nodiscard]] VORN_GW_COMMON_HIDDEN bool mustStayClosed() const noexcept;
    [[nodiscard]] VORN_GW_COMMON_HIDDEN bool isSharing(Holder self) noexcept;
    [[nodiscard]] VORN_GW_COMMON_HIDDEN bool othersShare(Holder self, bool watch) noexcept;
    [[nodiscard]] VORN_GW_COMMON_HIDDEN std::size_t sharingThreads() noexcept;
    VORN_GW_COMMON_HIDDEN void addSharedLock(Holder self);
    VORN_GW_COMMON_HIDDEN void addToMap(Holder self);
    VORN_GW_COMMON_HIDDEN void unlockSharedInMap(Holder self);
    VORN_GW_COMMON_HIDDEN void wakeAfterSharedUnlock() noexcept;

    static constexpr std::size_t kSlots = 8;

    alignas(64) std::atomic<Holder> owner_ = 0;
    std::uint32_t uniqueLocks_ = 0;             // used by the owner alone
    std::atomic<std::uint32_t> displaced_ = 0;  // threads in a slot that is not their home
    std::array<Slot, kSlots> slots_;
    std::mutex mutex_;
    std::condition_variable readers_;
    std::condition_variable writers_;
    std::condition_variable upgraders_;
    std::uint32_t waiting_ = 0;                        // guarded by mutex_
    std::map<Holder, std::uint32_t> overflow_;         // guarded by mutex_; no count is 0
    std::multimap<Holder, std::uint32_t> spareNodes_;  // guarded by mutex_
};

}  // namespace vorn::common
