#include "vorn/common/executable/Executable.h"

#include <signal.h>

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
#include "posix/ExecImage.h"
#include "posix/childEnd.h"
#include "posix/startChild.h"

namespace vorn::common::executable {

IExecutable::~IExecutable() = default;

struct Executable::State {
    State(const std::vector<std::string>& commandLine, const Params& options)
        : arguments(commandLine), params(options) {}

    bool waitForEnd() const {
        if (!params.timeout) {
            return internal::waitForEnd(*pid);
        }
        return internal::waitForEnd(*pid, internal::saturatingDeadline(*params.timeout));
    }

    std::optional<std::int32_t> reap() {
        const std::lock_guard lock(reapMutex);
        reaped = true;
        return internal::reap(*pid);
    }

    /// Records how the run went; false when the object is being destroyed.
    bool settle(bool ended) {
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
            ::kill(*pid, SIGKILL);
            if (params.ownProcessGroup) {
                ::kill(-*pid, SIGKILL);
            }
        }
        pid.reset();
        return true;
    }

    void killUnlessReaped() {
        const std::lock_guard lock(reapMutex);
        if (!reaped) {
            ::kill(*pid, SIGKILL);
        }
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
    std::optional<pid_t> pid;  // guarded by mutex; the waiter, its last writer, reads it without

    std::mutex reapMutex;  // a reader may hold `mutex` for long, and a reaped id is never signalled
    bool reaped = false;   // guarded by reapMutex
};

Executable::Executable(const std::vector<std::string>& arguments, const Params& params)
    : state_(std::make_unique<State>(arguments, params)) {}

Executable::~Executable() {
    {
        const std::lock_guard lock(state_->mutex);
        if (state_->pid) {
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
        state.status = Running;
    }
    auto pipes = std::make_shared<Pipes>();
    state.onDone = onDone;
    const pid_t pid = prepareEnvAndExec(state.arguments, pipes, state.params);
    pipes->closeWriting();
    {
        const std::lock_guard lock(state.mutex);
        state.pid = pid;
        state.pipes = std::move(pipes);
    }
    try {
        state.waiter = std::thread([this] { wait(); });
    } catch (...) {
        ::kill(pid, SIGKILL);
        internal::waitForEnd(pid);
        static_cast<void>(state.reap());
        const std::lock_guard lock(state.mutex);
        state.pid.reset();
        state.pipes.reset();
        throw;
    }
}

void Executable::execSync() {
    struct Completion {
        std::mutex mutex;
        std::condition_variable changed;
    };
    const auto completion = std::make_shared<Completion>();
    execAsync([completion](const IExecutable&) {
        const std::lock_guard lock(completion->mutex);
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
    const pid_t pid = state.pid.value();
    bool ended = false;
    bool tell = false;
    {
        const internal::BlockedSignals blocked;
        ended = state.waitForEnd();
        tell = state.settle(ended);
    }
    if (tell && state.onDone) {
        state.onDone(*this);
    }
    if (!ended) {
        const internal::BlockedSignals blocked;
        internal::waitForEnd(pid);
        static_cast<void>(internal::reap(pid));
    }
}

pid_t Executable::prepareEnvAndExec(const std::vector<std::string>& arguments,
                                    const std::shared_ptr<Pipes>& pipes, const Params& params) {
    VORN_ASSERT(pipes != nullptr);
    internal::ChildPlan plan;
    plan.ownProcessGroup = params.ownProcessGroup;
    plan.keptDescriptors = {pipes->out[0], pipes->out[1], pipes->err[0], pipes->err[1]};
    plan.standardOutput = pipes->out[1];
    plan.standardError = pipes->err[1];
    plan.root = internal::rootOf(params.chrootDir);

    const auto command = internal::commandIn(params.cgroups, arguments);
    pid_t pid = -1;
    if (command.empty()) {
        pid = internal::forkChild(plan);
        if (pid == 0) {
            exechelper::exec(command, params.environment);
        }
    } else {
        pid = internal::startChild(plan, internal::ExecImage(command, params.environment));
    }
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    return pid;
}

}  // namespace vorn::common::executable
