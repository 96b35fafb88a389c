// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include <vorn/common/ScriptExecutor.h>

/// Keeps what it is told as texts: "<description> finished <result>" and "<description> timeout".
class Observer : public vorn::common::IScriptExecutorObserver {
  public:
    void onScriptFinished(const vorn::common::Script& script, int result) override {
        add(script.description + " finished " + std::to_string(result), ends_);
    }
    void onScriptTimeout(const vorn::common::Script& script) override {
        add(script.description + " timeout", timeouts_);
    }

    [[nodiscard]] bool waitForEnds(std::size_t count) { return waitFor(ends_, count); }
    [[nodiscard]] bool waitForTimeouts(std::size_t count) { return waitFor(timeouts_, count); }
    std::size_t ends() {
        const std::lock_guard lock(mutex_);
        return ends_;
    }
    std::size_t timeouts() {
        const std::lock_guard lock(mutex_);
        return timeouts_;
    }
    std::vector<std::string> texts() {
        const std::lock_guard lock(mutex_);
        return texts_;
    }

  private:
    void add(const std::string& text, std::size_t& counter) {
        const std::lock_guard lock(mutex_);
        texts_.push_back(text);
        ++counter;
        changed_.notify_all();
    }
    bool waitFor(const std::size_t& counter, std::size_t count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), [&] { return counter >= count; });
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> texts_;
    std::size_t ends_ = 0;
    std::size_t timeouts_ = 0;
};
