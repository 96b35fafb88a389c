// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <mutex>

#include <vorn/common/export.h>

/// Mutexes with readers and writers.
namespace vorn::common::locking {

/// A shared mutex over the operating system's read/write lock, with a gate that keeps a stream of
/// readers from starving a writer: whoever waits for the lock keeps the gate, and newcomers wait
/// before it. Not recursive. It works with std::unique_lock, std::shared_lock and std::scoped_lock:
///
///     std::shared_lock reading(mutex);
///
/// Deliberate: a nested lock_shared of one thread deadlocks when a writer waits in between.
///
/// Threads: each lock is released by the thread that took it; unlocking what is not locked is
/// undefined. Lifetime: nobody holds it or waits for it when it is destroyed.
/// Not guaranteed: an order among those that wait before the gate; the try forms may fail while
/// another thread passes it, although the lock itself would be free.
class VORN_GW_COMMON_EXPORT MultipleReadUniqueWriteMutex {
  public:
    MultipleReadUniqueWriteMutex() = default;
    ~MultipleReadUniqueWriteMutex();
    MultipleReadUniqueWriteMutex(const MultipleReadUniqueWriteMutex&) = delete;
    MultipleReadUniqueWriteMutex& operator=(const MultipleReadUniqueWriteMutex&) = delete;

    /// Both throw std::system_error with EDEADLK, nothing changed, when the calling thread holds
    /// the exclusive lock and the operating system notices. A thread that holds a shared lock and
    /// calls lock() waits for itself for ever.
    /// @{
    void lock();
    void lock_shared();
    /// @}

    /// Never waits, before the gate neither.
    /// @{
    [[nodiscard]] bool try_lock();
    [[nodiscard]] bool try_lock_shared();
    /// @}

    /// One and the same operation.
    /// @{
    void unlock() noexcept;
    void unlock_shared() noexcept;
    /// @}

  private:
    std::mutex gate_;
    pthread_rwlock_t rwlock_ = PTHREAD_RWLOCK_INITIALIZER;
};

}  // namespace vorn::common::locking
