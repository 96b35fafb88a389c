// SPDX-License-Identifier: MIT
#include "vorn/common/executable/ExecutableManager.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace vorn::common::executable {
namespace {

constexpr std::chrono::milliseconds kCollectionPeriod{500};

auto hasUuid(const Uuid& uuid) {
    return [&uuid](const ExecutableHolder& holder) { return holder.uuid == uuid; };
}

void requireExecutable(const ExecutableHolder& holder) {
    if (!holder.executable) {
        throw std::invalid_argument("holder has no executable");
    }
}

}  // namespace

ExecutableManager::ExecutableManager(std::uint32_t limit)
    : limit_(limit), worker_([this] { collect(); }) {}

ExecutableManager::~ExecutableManager() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        // Under the lock: the collector must not take, and tell of, what is being killed here.
        holders_.clear();
    }
    stopped_.notify_all();
    worker_.join();
}

void ExecutableManager::clearCompletedAndVerifyRequest(const Uuid& uuid) const {
    if (limit_ <= holders_.size()) {
        throw std::logic_error("limit of concurrent scripts reached");
    }
    if (std::any_of(holders_.begin(), holders_.end(), hasUuid(uuid))) {
        throw std::logic_error("uuid must be unique");
    }
}

void ExecutableManager::execAsync(ExecutableHolder&& holder, const Uuid& uuid,
                                  const std::string& description, const Callback& callback) {
    const std::lock_guard lock(mutex_);
    clearCompletedAndVerifyRequest(uuid);
    requireExecutable(holder);
    holder.uuid = uuid;
    holder.description = description;
    holder.callback = callback;
    // Registered before the start: one that fails leaves the holder where it is.
    holders_.push_back(std::move(holder));
    // Without a callback: it would come on the executable's own thread, which cannot destroy it.
    holders_.back().executable->execAsync({});
}

ExecutionResult ExecutableManager::execSync(ExecutableHolder&& holder, const Uuid& uuid) {
    const std::lock_guard lock(mutex_);
    clearCompletedAndVerifyRequest(uuid);
    requireExecutable(holder);
    IExecutable& executable = *holder.executable;
    executable.execSync();
    ExecutionResult result;
    result.status = executable.getStatus();
    result.exitCode = executable.getExitCode();
    result.stdOut = executable.readFromStdOut();
    result.stdErr = executable.readFromStdErr();
    return result;
}

bool ExecutableManager::isRunning(const Uuid& uuid) const {
    const std::lock_guard lock(mutex_);
    return std::any_of(holders_.begin(), holders_.end(), hasUuid(uuid));
}

std::optional<std::string> ExecutableManager::getDescription(const Uuid& uuid) const {
    const std::lock_guard lock(mutex_);
    const auto holder = std::find_if(holders_.begin(), holders_.end(), hasUuid(uuid));
    return holder == holders_.end() ? std::nullopt : std::optional(holder->description);
}

bool ExecutableManager::abort(const Uuid& uuid) {
    std::list<ExecutableHolder> aborted;
    const std::lock_guard lock(mutex_);
    // Spliced, here and below: taking something out must not need memory.
    for (auto holder = holders_.begin(); holder != holders_.end();) {
        const auto next = std::next(holder);
        if (holder->uuid == uuid) {
            aborted.splice(aborted.end(), holders_, holder);
        }
        holder = next;
    }
    const bool found = !aborted.empty();
    // Before the lock is released: who is told true may use the identifier again at once, and the
    // child is gone by then.
    aborted.clear();
    return found;
}

std::list<ExecutableHolder> ExecutableManager::takeCompleted() {
    std::list<ExecutableHolder> completed;
    for (auto holder = holders_.begin(); holder != holders_.end();) {
        const auto next = std::next(holder);
        if (holder->executable->getStatus() > Executable::Running) {
            if (holder->callback) {
                completed.splice(completed.end(), holders_, holder);
            } else {
                holders_.erase(holder);
            }
        }
        holder = next;
    }
    return completed;
}

void ExecutableManager::collect() {
    std::unique_lock lock(mutex_);
    while (!stopped_.wait_for(lock, kCollectionPeriod, [this] { return stopping_; })) {
        auto completed = takeCompleted();
        // Callbacks may use the manager, and the executables that go with them may take their time.
        lock.unlock();
        for (const auto& holder : completed) {
            holder.callback(*holder.executable, holder.uuid, holder.description);
        }
        completed.clear();
        lock.lock();
    }
}

}  // namespace vorn::common::executable
