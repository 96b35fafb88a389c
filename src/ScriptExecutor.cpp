// SPDX-License-Identifier: MIT
#include "vorn/common/ScriptExecutor.h"

#include <algorithm>
#include <exception>
#include <new>
#include <ostream>
#include <system_error>
#include <type_traits>
#include <utility>

#include "posix/BlockedSignals.h"
#include "posix/Child.h"
#include "posix/ExecImage.h"
#include "posix/startChild.h"

namespace vorn::common {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestLook{1};
constexpr int kNoExitStatus = -1;

/// Keeps signalling and reaping of the default routine's processes apart, and guards `child` of
/// their contexts. Held for one system call. One for all executors, because the routine knows its
/// context only.
constinit std::mutex reapMutex;

/// Starts the script of a context and shows the child to the executor; none when that fails, also
/// for lack of memory.
internal::Child startScript(ScriptContext& context) {
    const Script& script = context.request.script;
    try {
        const auto command = internal::commandIn(
            script.cgroups, {script.cgroups ? "sh" : "/bin/sh", "-c", script.content});
        internal::ChildPlan plan;
        plan.root = internal::rootOf(script.chroot);
        return internal::startChild(plan, internal::ExecImage(command, script.environment));
    } catch (const std::exception&) {
        return internal::Child();
    }
}

int defaultScriptRoutine(ScriptContext* context) {
    context->killable = false;
    const internal::Child child = startScript(*context);
    context->pid = child.id();
    if (!child) {
        return kNoExitStatus;
    }
    {
        // Looked at already when a routine of the caller's calls this one past the deadline.
        const std::lock_guard lock(reapMutex);
        context->child = &child;
        context->killable = true;
    }
    const internal::BlockedSignals blocked;
    child.waitForEnd();
    // One step for the executor: either the child is there to be killed, or nothing is killed.
    const std::lock_guard lock(reapMutex);
    context->killable = false;
    context->child = nullptr;
    return child.reap().value_or(kNoExitStatus);
}

/// A routine of the caller's has no say in `killable`: its process may be killed from the start.
bool isDefault(const ScriptExecutor::Routine& routine) {
    const auto target = routine.target<int (*)(ScriptContext*)>();
    return target != nullptr && *target == &defaultScriptRoutine;
}

void tellEnd(const ScriptExecutor::ScriptExecutionRequest& request, int result) {
    if (request.observer) {
        request.observer->onScriptFinished(request.script, result);
    }
}

void killProcess(const ScriptContext& context) {
    const std::lock_guard lock(reapMutex);
    if (!context.killable) {
        return;
    }
    if (context.child != nullptr) {
        context.child->kill();
    } else if (context.pid >= 0) {
        internal::killById(context.pid);
    }
}

}  // namespace

// Early, for the static initialisers of services that link the library statically.
[[gnu::init_priority(101)]] const ScriptExecutor::Routine kDefaultScriptRoutine =
    &defaultScriptRoutine;

std::ostream& operator<<(std::ostream& stream, const Script& script) {
    return stream << "Script(uuid: " << script.uuid << ", description: " << script.description
                  << ")";
}

std::vector<std::unique_ptr<ScriptContext>>::const_iterator findByUuid(
    const std::vector<std::unique_ptr<ScriptContext>>& contexts, const Uuid& uuid) {
    return std::find_if(contexts.begin(), contexts.end(), [&uuid](const auto& context) {
        return context->request.script.uuid == uuid;
    });
}

IScriptExecutorObserver::~IScriptExecutorObserver() = default;

ScriptExecutor::ScriptExecutor(std::uint32_t maxConcurrent, Routine routine)
    : maxConcurrent_(maxConcurrent), routine_(std::move(routine)) {}

ScriptExecutor::~ScriptExecutor() {
    terminate();
}

void ScriptExecutor::start() {
    const std::lock_guard lifecycle(lifecycleMutex_);
    if (running_) {
        return;
    }
    // A terminate that has cleared the flag and not yet taken the lock.
    stopProcessing();
    running_ = true;
    try {
        thread_ = std::make_unique<Thread>();
        thread_->start([this](void*) { processingLoop(); }, nullptr);
    } catch (...) {
        thread_.reset();
        running_ = false;
        throw;
    }
}

void ScriptExecutor::terminate() {
    if (!running_.exchange(false)) {
        return;
    }
    const std::lock_guard lifecycle(lifecycleMutex_);
    stopProcessing();
}

// A start and a terminate at the same time: the one that holds the lock first finishes the work of
// the other, so that no two loops ever run.
void ScriptExecutor::stopProcessing() {
    {
        // Changed under the lock, or it could come between the loop's look and its wait.
        const std::lock_guard lock(mutex_);
        running_ = false;
    }
    queueChanged_.notify_all();
    if (thread_) {
        thread_->wait(Thread::kNoTimeout);
        thread_.reset();
    }
}

bool ScriptExecutor::execute(ScriptExecutionRequest request) {
    if (!running_ || maxConcurrent_ <= activeContexts_) {
        return false;
    }
    {
        const std::lock_guard lock(mutex_);
        queue_.push(std::move(request));
    }
    queueChanged_.notify_one();
    return true;
}

bool ScriptExecutor::execute(const Script& script,
                             std::shared_ptr<IScriptExecutorObserver> observer,
                             time::SecondsDuration timeout) {
    return execute(ScriptExecutionRequest{script, std::move(observer), timeout});
}

bool ScriptExecutor::execute(const Script& script, IScriptExecutorObserver* observer,
                             time::SecondsDuration timeout) {
    return execute(
        script, std::shared_ptr<IScriptExecutorObserver>(observer, [](auto* /*kept*/) {}), timeout);
}

void ScriptExecutor::processingLoop() {
    // An exception that ended an earlier processing has left what it was looking at, result taken.
    std::erase_if(contexts_, [](const auto& context) { return context->state == 0; });
    updateCount();
    while (running_) {
        if (auto request = takeNext()) {
            launch(std::move(*request));
        } else if (!contexts_.empty()) {
            monitor();
        } else {
            waitForWork();
        }
    }
    // Deliberate: returns when the scripts have ended. Nobody looks at deadlines any more.
    for (const auto& context : contexts_) {
        context->result.wait();
    }
}

std::optional<ScriptExecutor::ScriptExecutionRequest> ScriptExecutor::takeNext() {
    const std::lock_guard lock(mutex_);
    if (!running_ || queue_.empty() || maxConcurrent_ <= contexts_.size()) {
        return std::nullopt;
    }
    // Moved, which cannot fail: a request must not be lost between queue and list.
    std::optional<ScriptExecutionRequest> request(std::move(queue_.front()));
    queue_.pop();
    return request;
}

void ScriptExecutor::waitForWork() {
    std::unique_lock lock(mutex_);
    queueChanged_.wait(lock, [this] { return !running_ || !queue_.empty(); });
}

void ScriptExecutor::launch(ScriptExecutionRequest request) {
    static_assert(std::is_nothrow_move_assignable_v<ScriptExecutionRequest>);
    if (findByUuid(contexts_, request.script.uuid) != contexts_.end()) {
        return;
    }
    // Before the routine runs: its script may ask at once whether there is a free slot.
    activeContexts_ = contexts_.size() + 1;
    std::unique_ptr<ScriptContext> context;
    try {
        // What can fail comes before the routine starts, so that every context in the list has a
        // result to wait for, and every routine that runs has a context in the list.
        contexts_.reserve(contexts_.size() + 1);
        context = std::make_unique<ScriptContext>();
        context->request = std::move(request);
        context->started = Clock::now();
        context->deadline = context->request.timeout.toTimepoint(context->started);
        context->killable = !isDefault(routine_);
        context->state = 1;
        context->result = std::async(std::launch::async,
                                     [this, started = context.get()] { return routine_(started); });
        contexts_.push_back(std::move(context));
        return;
    } catch (const std::bad_alloc&) {
    } catch (const std::system_error&) {
    }
    // No memory or no further thread.
    tellEnd(context ? context->request : request, kNoExitStatus);
    updateCount();
}

void ScriptExecutor::monitor() {
    for (auto place = contexts_.begin(); place != contexts_.end();) {
        ScriptContext& context = **place;
        if (context.result.wait_for(kLongestLook) != std::future_status::ready) {
            checkDeadline(context);
            ++place;
            continue;
        }
        // First: after an exception from below, this context must not be looked at again.
        context.state = 0;
        if (!context.notified) {
            tellEnd(context.request, context.result.get());
        }
        place = contexts_.erase(place);
        updateCount();
    }
}

void ScriptExecutor::checkDeadline(ScriptContext& context) const {
    if (Clock::now() < context.deadline) {
        return;
    }
    killProcess(context);
    if (context.request.observer) {
        context.request.observer->onScriptTimeout(context.request.script);
    }
}

void ScriptExecutor::updateCount() {
    activeContexts_ = contexts_.size();
}

}  // namespace vorn::common
