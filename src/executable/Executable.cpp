// SPDX-License-Identifier: MIT
#include "vorn/common/executable/Executable.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include <vorn/common/exechelper/exec.h>

#include "internal/assert.h"
#include "internal/waitReady.h"
#include "posix/BlockedSignals.h"
#include "posix/Child.h"
#include "posix/ExecImage.h"
#include "posix/startChild.h"

namespace vorn::common::executable {

IExecutable::~IExecutable() = default;

namespace {

/// Starts the program with the write ends of `pipes` as its outputs; none when that fails.
internal::Child start(const std::vector<std::string>& arguments,
                      const std::shared_ptr<Executable::Pipes>& pipes,
                      const Executable::Params& params) {
    internal::ChildPlan plan;
    plan.ownProcessGroup = params.ownProcessGroup;
    plan.keptDescriptors = {pipes->out[0], pipes->out[1], pipes->err[0], pipes->err[1]};
    plan.standardOutput = pipes->out[1];
    plan.standardError = pipes->err[1];
    plan.root = internal::rootOf(params.chrootDir);

    const auto command = internal::commandIn(params.cgroups, arguments);
    if (!command.empty()) {
        return internal::startChild(plan, internal::ExecImage(command, params.environment));
    }
    // Deliberate: the exception is thrown in the child and runs through code of the caller's, which
    // only a copy of the whole process can do.
    const pid_t pid = internal::forkChild(plan);
    if (pid == 0) {
        exechelper::exec(command, params.environment);
    }
    return internal::Child(pid);
}

internal::Child startOrThrow(const std::vector<std::string>& arguments,
                             const std::shared_ptr<Executable::Pipes>& pipes,
                             const Executable::Params& params) {
    internal::Child child = start(arguments, pipes, params);
    if (!child) {
        throw std::runtime_error("fork failed");
    }
    return child;
}

}  // namespace

struct Executable::State {
    State(const std::vector<std::string>& commandLine, const Params& options)
        : arguments(commandLine), params(options) {}

    bool waitForEnd() const {
        if (!params.timeout) {
            child.waitForEnd();
            return true;
        }
        return child.waitForEnd(internal::saturatingDeadline(*params.timeout));
    }

    std::optional<std::int32_t> reap() {
        const std::lock_guard lock(reapMutex);
        // An object that has ended may be kept for long: it gives its descriptor back.
        return std::exchange(child, internal::Child()).reap();
    }

    /// Records how the run went; false when the object is being destroyed.
    bool settle(bool ended) {
        // Reaped before the lock is taken, which a reader may hold for as long as it likes.
        const auto result = ended ? reap() : std::nullopt;
        const std::lock_guard lock(mutex);
        if (destroying) {
            return false;
        }
        if (ended) {
            exitCode = result;
            status = result ? Exited : Aborted;
        } else {
            status = TimedOut;
            if (params.ownProcessGroup) {
                child.killGroup();
            } else {
                child.kill();
            }
        }
        unsettled = false;
        return true;
    }

    void killUnlessReaped() {
        const std::lock_guard lock(reapMutex);
        child.kill();
    }

    std::function<void(const IExecutable&)> onDone;
    const std::vector<std::string> arguments;
    const Params params;
    std::thread waiter;

    mutable std::mutex mutex;
    std::atomic<Status> status = Idle;     // written under mutex; execSync reads it without
    std::optional<std::int32_t> exitCode;  // guarded by mutex
    std::shared_ptr<Pipes> pipes;          // guarded by mutex
    bool destroying = false;               // guarded by mutex
    /// A child exists whose end has not been recorded. Guarded by mutex; the waiter, its last
    /// writer, reads it without.
    bool unsettled = false;

    std::mutex reapMutex;  // a reader may hold `mutex` for long, and a reaped id is never signalled
    /// None before the start and once it has been reaped. Guarded by reapMutex; the waiter, its
    /// only writer while it runs, reads it without.
    internal::Child child;
};

Executable::Executable(const std::vector<std::string>& arguments, const Params& params)
    : state_(std::make_unique<State>(arguments, params)) {}

Executable::~Executable() {
    {
        const std::lock_guard lock(state_->mutex);
        if (state_->unsettled) {
            state_->destroying = true;
            state_->killUnlessReaped();
        }
    }
    if (state_->waiter.joinable()) {
        state_->waiter.join();
    }
}

void Executable::execAsync(const std::function<void(const IExecutable&)>& onDone) {
    State& state = *state_;
    {
        const std::lock_guard lock(state.mutex);
        if (state.status != Idle) {
            throw std::logic_error("already running or done");
        }
        // Taken at once: of two starts at the same time one is refused before it does anything.
        state.status = Running;
    }
    auto pipes = std::make_shared<Pipes>();
    state.onDone = onDone;
    state.child = startOrThrow(state.arguments, pipes, state.params);
    // The pipes become visible without their write ends: a read must be able to see the end.
    pipes->closeWriting();
    {
        const std::lock_guard lock(state.mutex);
        state.unsettled = true;
        state.pipes = std::move(pipes);
    }
    try {
        state.waiter = std::thread([this] { wait(); });
    } catch (...) {
        // Nobody would wait for the child, kill it at its time limit or tell of its end.
        state.child.kill();
        static_cast<void>(state.reap());
        const std::lock_guard lock(state.mutex);
        state.unsettled = false;
        state.pipes.reset();
        throw;
    }
}

void Executable::execSync() {
    // Shared with the callback, which may still be notifying when this returns: the wait ends as
    // soon as the status is there.
    struct Completion {
        std::mutex mutex;
        std::condition_variable changed;
    };
    const auto completion = std::make_shared<Completion>();
    execAsync([completion](const IExecutable&) {
        // Taken, or the notification could come between a look at the status and the wait after it;
        // released before it, or the waiter would wake up only to wait for the lock.
        { const std::lock_guard lock(completion->mutex); }
        completion->changed.notify_all();
    });
    std::unique_lock lock(completion->mutex);
    completion->changed.wait(lock, [this] {
        const Status status = state_->status;
        return status == Exited || status == TimedOut;
    });
}

IExecutable::Status Executable::getStatus() const {
    const std::lock_guard lock(state_->mutex);
    return state_->status;
}

std::optional<std::int32_t> Executable::getExitCode() const {
    const std::lock_guard lock(state_->mutex);
    return state_->exitCode;
}

std::optional<std::string> Executable::readFromStdOut() const {
    const std::lock_guard lock(state_->mutex);
    return state_->pipes ? std::optional(state_->pipes->readFromStdOut()) : std::nullopt;
}

std::optional<std::string> Executable::readFromStdErr() const {
    const std::lock_guard lock(state_->mutex);
    return state_->pipes ? std::optional(state_->pipes->readFromStdErr()) : std::nullopt;
}

void Executable::wait() {
    State& state = *state_;
    if (!state.unsettled) {
        throw std::bad_optional_access();
    }
    bool ended = false;
    bool tell = false;
    {
        // Handlers of the service run on its own threads, and no wait here is ever interrupted.
        const internal::BlockedSignals blocked;
        ended = state.waitForEnd();
        tell = state.settle(ended);
    }
    if (tell && state.onDone) {
        state.onDone(*this);
    }
    if (!ended) {
        // After the callback, which need not wait until the kernel has taken the child apart.
        const internal::BlockedSignals blocked;
        state.child.waitForEnd();
        static_cast<void>(state.reap());
    }
}

pid_t Executable::prepareEnvAndExec(const std::vector<std::string>& arguments,
                                    const std::shared_ptr<Pipes>& pipes, const Params& params) {
    VORN_ASSERT(pipes != nullptr);
    return startOrThrow(arguments, pipes, params).id();
}

}  // namespace vorn::common::executable
