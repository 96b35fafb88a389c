// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <vorn/common/export.h>

namespace vorn::common {

/// A fixed number of threads that take tasks from one queue, first in, first out:
///
///     ThreadPool pool(4);
///     if (pool.hasFreeWorker()) {
///         pool._emplaceTask([request] { serve(request); });
///     }
///
/// A worker is free while it waits for a task. Idle means that all workers are free and nothing is
/// queued. To wait for that:
///
///     std::unique_lock lock(pool.mutex());
///     pool.stateChanged().wait(lock, [&] { return pool._isIdle(lock); });
///
/// Threads: everything but the destructor may be called from any thread, the tasks included.
/// Operations whose names begin with an underscore expect the caller to hold mutex() and take its
/// lock as proof. Tasks run, and are destroyed, without the mutex.
/// Deliberate: an exception that leaves a task ends the process; a task that can fail runs a
/// std::packaged_task whose future the submitter keeps.
/// Lifetime: what tasks refer to must live until they have run, been cleared, or the pool is gone.
/// Each worker costs a stack of the default size (often 8 MB of address space).
class VORN_GW_COMMON_EXPORT ThreadPool {
  public:
    /// Returns when all workers wait for tasks. A `poolSize` of 0 fails the assertion "poolSize >
    /// 0". Throws std::system_error when the first thread cannot be created. Deliberate: when a
    /// later one cannot, the process ends.
    explicit ThreadPool(std::size_t poolSize);

    /// Discards the tasks that no worker has taken, notifies stateChanged(), and waits for those
    /// that run. Must not be called from a task.
    ~ThreadPool();

    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// Nothing is queued and all workers are free.
    [[nodiscard]] bool isIdle() const;
    /// The opposite of isIdle().
    [[nodiscard]] bool isBusy() const;
    /// Nothing is queued and a worker is free. While anything is queued the answer is false,
    /// because the free workers are about to take it.
    [[nodiscard]] bool hasFreeWorker() const;

    /// The same for a caller that holds mutex().
    /// @{
    [[nodiscard]] bool _isIdle(std::unique_lock<std::mutex>& lock) const;
    [[nodiscard]] bool _isBusy(std::unique_lock<std::mutex>& lock) const;
    [[nodiscard]] bool _hasFreeWorker(std::unique_lock<std::mutex>& lock) const;
    /// @}

    /// Whether `id` is one of the pool's workers. Takes no lock.
    [[nodiscard]] bool isWorkerThread(std::thread::id id) const noexcept;

    /// The number of queued tasks, and of workers that run one.
    [[nodiscard]] std::pair<std::size_t, std::size_t> tasks() const;

    /// Discards the tasks that no worker has taken, and notifies stateChanged(). They are destroyed
    /// without the mutex. Needs no memory, and neither does the destructor.
    void clearQueue();

    /// Appends a task and wakes at most one worker. An empty one is taken and skipped.
    /// Throws std::runtime_error "Failed to enqueue on stopped ThreadPool" once the destructor has
    /// begun (from a task that still runs), and std::length_error when the queue cannot grow.
    /// Deliberate: in spite of its name it locks mutex() itself; a caller holding it deadlocks.
    void _emplaceTask(std::function<void()> task);

    /// Guards the state that the operations with an underscore read.
    [[nodiscard]] std::mutex& mutex() const noexcept { return mutex_; }

    /// Notified whenever one of the answers above may have changed.
    [[nodiscard]] std::condition_variable& stateChanged() const noexcept { return stateChanged_; }

  private:
    using Task = std::function<void()>;
    struct VORN_GW_COMMON_HIDDEN Queue;

    VORN_GW_COMMON_HIDDEN void startWorkers(std::size_t count);
    VORN_GW_COMMON_HIDDEN void _workerJob();

    std::vector<std::thread> workers_;
    std::vector<std::thread::id> workerIds_;  // join() changes a thread's own id
    std::unique_ptr<Queue> queue_;            // what it points to is guarded by mutex_
    mutable std::mutex mutex_;
    std::condition_variable taskAvailable_;
    mutable std::condition_variable stateChanged_;
    bool stopping_ = false;        // guarded by mutex_
    std::size_t freeWorkers_ = 0;  // guarded by mutex_
    std::atomic<unsigned int> notifying_ = 0;
};

}  // namespace vorn::common
