// SPDX-License-Identifier: MIT
#include "vorn/common/ThreadPool.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <stdexcept>

#include "internal/assert.h"
#include "internal/spin.h"
#include "posix/sleep.h"
#include "thread/BlockQueue.h"

namespace vorn::common {

struct ThreadPool::Queue : internal::BlockQueue<Task> {};

ThreadPool::ThreadPool(std::size_t poolSize) : queue_(std::make_unique<Queue>()) {
    VORN_ASSERT(poolSize > 0);
    startWorkers(poolSize);
    std::unique_lock lock(mutex_);
    stateChanged_.wait(lock, [this] { return freeWorkers_ >= workers_.size(); });
}

ThreadPool::~ThreadPool() {
    {
        // Outside the lock at its end: what a task holds may use the pool while it is destroyed.
        Queue discarded;
        {
            // Emptied together with the flag: no worker takes one more.
            const std::lock_guard lock(mutex_);
            stopping_ = true;
            discarded.swap(*queue_);
        }
        taskAvailable_.notify_all();
        // A task that waits until nothing is queued would otherwise keep its worker for ever.
        stateChanged_.notify_all();
    }
    for (auto& worker : workers_) {
        worker.join();
    }
    while (notifying_ != 0) {
        // Not yielding, which is nothing for a notifier of a lower real-time priority.
        internal::sleepFor(std::chrono::microseconds(50));
    }
}

bool ThreadPool::isIdle() const {
    std::unique_lock lock(mutex_);
    return _isIdle(lock);
}

bool ThreadPool::isBusy() const {
    std::unique_lock lock(mutex_);
    return _isBusy(lock);
}

bool ThreadPool::hasFreeWorker() const {
    std::unique_lock lock(mutex_);
    return _hasFreeWorker(lock);
}

bool ThreadPool::_isIdle(std::unique_lock<std::mutex>&) const {
    return queue_->empty() && freeWorkers_ >= workers_.size();
}

bool ThreadPool::_isBusy(std::unique_lock<std::mutex>& lock) const {
    return !_isIdle(lock);
}

bool ThreadPool::_hasFreeWorker(std::unique_lock<std::mutex>&) const {
    return queue_->empty() && freeWorkers_ != 0;
}

bool ThreadPool::isWorkerThread(std::thread::id id) const noexcept {
    return std::find(workerIds_.begin(), workerIds_.end(), id) != workerIds_.end();
}

std::pair<std::size_t, std::size_t> ThreadPool::tasks() const {
    const std::lock_guard lock(mutex_);
    return {queue_->size(), workers_.size() - freeWorkers_};
}

void ThreadPool::clearQueue() {
    Queue discarded;  // before the lock, so that it is destroyed after it
    const std::lock_guard lock(mutex_);
    discarded.swap(*queue_);
    stateChanged_.notify_all();
}

void ThreadPool::_emplaceTask(std::function<void()> task) {
    auto lock = internal::lockBriefly(mutex_);
    if (stopping_) {
        throw std::runtime_error("Failed to enqueue on stopped ThreadPool");
    }
    queue_->push(std::move(task));
    stateChanged_.notify_all();
    // Busy workers look at the queue by themselves.
    if (freeWorkers_ == 0) {
        return;
    }
    // Without the lock, which the woken worker takes first. The task may then let the pool's owner
    // destroy it before this returns: the destructor waits for the count.
    ++notifying_;
    lock.unlock();
    taskAvailable_.notify_one();
    --notifying_;
}

void ThreadPool::startWorkers(std::size_t count) {
    // Ahead, so that only the threads themselves can fail below.
    workers_.reserve(count);
    workerIds_.reserve(count);
    while (workers_.size() < count) {
        try {
            workers_.emplace_back([this] { _workerJob(); });
        } catch (...) {
            if (workers_.empty()) {
                throw;
            }
            // Unwinding would destroy condition variables with waiters, and hang.
            std::terminate();
        }
        workerIds_.push_back(workers_.back().get_id());
    }
}

void ThreadPool::_workerJob() {
    std::unique_lock lock(mutex_);
    for (;;) {
        if (queue_->empty()) {
            ++freeWorkers_;
            stateChanged_.notify_all();
            taskAvailable_.wait(lock, [this] { return stopping_ || !queue_->empty(); });
            if (queue_->empty()) {
                return;
            }
            --freeWorkers_;
        }
        Task task = queue_->pop();
        const bool emptied = queue_->empty();
        lock.unlock();
        // Noted under the lock and told without it, so that those who wait can look at once.
        if (emptied) {
            stateChanged_.notify_all();
        }
        if (task) {
            task();
            // A worker on a queue that stays full would otherwise keep a sole processor.
            std::this_thread::yield();
        }
        // Before the lock is taken again: what the task holds may use the pool.
        task = nullptr;
        lock = internal::lockBriefly(mutex_);
    }
}

}  // namespace vorn::common
