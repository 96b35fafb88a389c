#include "vorn/common/ScriptExecutor.h"

#include <signal.h>

#include <algorithm>
#include <ostream>
#include <system_error>
#include <utility>

#include "posix/BlockedSignals.h"
#include "posix/ExecImage.h"
#include "posix/childEnd.h"
#include "posix/startChild.h"

namespace vorn::common {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestLook{1};
constexpr int kNoExitStatus = -1;

/// Keeps signalling and reaping of the default routine's processes apart. Held for one system call.
constinit std::mutex reapMutex;

int defaultScriptRoutine(ScriptContext* context) {
    const Script& script = context->request.script;
    context->killable = false;
    const auto command = internal::commandIn(
        script.cgroups, {script.cgroups ? "sh" : "/bin/sh", "-c", script.content});
    internal::ChildPlan plan;
    plan.root = internal::rootOf(script.chroot);
    const pid_t pid = internal::startChild(plan, internal::ExecImage(command, script.environment));
    context->pid = pid;
    if (pid < 0) {
        return kNoExitStatus;
    }
    context->killable = true;
    const internal::BlockedSignals blocked;
    internal::waitForEnd(pid);
    const std::lock_guard lock(reapMutex);
    context->killable = false;
    return internal::reap(pid).value_or(kNoExitStatus);
}

bool isDefault(const ScriptExecutor::Routine& routine) {
    const auto target = routine.target<int (*)(ScriptContext*)>();
    return target != nullptr && *target == &defaultScriptRoutine;
}

void killProcess(const ScriptContext& context) {
    const std::lock_guard lock(reapMutex);
    if (context.killable && context.pid >= 0) {
        ::kill(context.pid, SIGKILL);
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
    for (const auto& context : contexts_) {
        if (context->state != 0) {
            context->result.wait();
        }
    }
}

std::optional<ScriptExecutor::ScriptExecutionRequest> ScriptExecutor::takeNext() {
    const std::lock_guard lock(mutex_);
    if (!running_ || queue_.empty() || maxConcurrent_ <= contexts_.size()) {
        return std::nullopt;
    }
    std::optional<ScriptExecutionRequest> request(std::move(queue_.front()));
    queue_.pop();
    return request;
}

void ScriptExecutor::waitForWork() {
    std::unique_lock lock(mutex_);
    queueChanged_.wait(lock, [this] { return !running_ || !queue_.empty(); });
}

void ScriptExecutor::launch(ScriptExecutionRequest request) {
    if (findByUuid(contexts_, request.script.uuid) != contexts_.end()) {
        return;
    }
    ScriptContext& context = *contexts_.emplace_back(std::make_unique<ScriptContext>());
    context.request = std::move(request);
    context.started = Clock::now();
    context.deadline = context.request.timeout.toTimepoint(context.started);
    context.killable = !isDefault(routine_);
    context.state = 1;
    updateCount();
    try {
        context.result =
            std::async(std::launch::async, [this, &context] { return routine_(&context); });
    } catch (const std::system_error&) {
        std::promise<int> failed;
        context.result = failed.get_future();
        failed.set_value(kNoExitStatus);
    }
}

void ScriptExecutor::monitor() {
    for (auto place = contexts_.begin(); place != contexts_.end();) {
        ScriptContext& context = **place;
        if (context.result.wait_for(kLongestLook) != std::future_status::ready) {
            checkDeadline(context);
            ++place;
            continue;
        }
        context.state = 0;
        if (!context.notified) {
            const int result = context.result.get();
            if (context.request.observer) {
                context.request.observer->onScriptFinished(context.request.script, result);
            }
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
