// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>

namespace helpers {

/// A thread that does what it is told, one thing after the other, so that a test can let several
/// threads act in an order of its choice.
class Actor {
  public:
    Actor() : thread_([this] { loop(); }), tid_(run([] { return ::gettid(); })) {}
    ~Actor() {
        post([this] { done_ = true; });
        thread_.join();
    }
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

    /// Starts `action` there; the future tells when it is through.
    template <class Action>
    std::future<std::invoke_result_t<Action>> post(Action action) {
        return start<std::invoke_result_t<Action>>(std::move(action));
    }

    /// Runs `action` there, and returns or throws what it does.
    template <class Action>
    std::invoke_result_t<Action> run(Action action) {
        return post(std::move(action)).get();
    }

    [[nodiscard]] pid_t tid() const { return tid_; }

  private:
    // For each result, not for each action: a task and its future are dear to compile.
    template <class Result>
    std::future<Result> start(std::function<Result()> action) {
        auto task = std::make_shared<std::packaged_task<Result()>>(std::move(action));
        auto result = task->get_future();
        {
            const std::lock_guard lock(mutex_);
            actions_.emplace_back([task] { (*task)(); });
        }
        changed_.notify_one();
        return result;
    }

    void loop() {
        std::unique_lock lock(mutex_);
        while (!done_) {
            changed_.wait(lock, [this] { return !actions_.empty(); });
            const auto action = std::move(actions_.front());
            actions_.pop_front();
            lock.unlock();
            action();
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> actions_;
    bool done_ = false;  // used by the thread alone
    std::thread thread_;
    pid_t tid_;
};

}  // namespace helpers
