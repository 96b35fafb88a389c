// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <queue>

#include <vorn/common/Thread.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/export.h>
#include <vorn/common/time/SecondsDuration.h>

namespace vorn::common {

namespace internal {
class Child;
}

/// One shell script to run in the background.
struct Script {
    Uuid uuid{};                ///< runs with the same identifier are never active together
    std::string description{};  ///< free text for logs
    std::string content{};      ///< the shell text
    /// When present, the script's root directory; an empty text means /tmp/chroot. Give an absolute
    /// path: a relative one is looked up inside itself.
    std::optional<std::string> chroot{};
    /// When present, /usr/bin/cgexec runs the script with "-g", entry for each entry.
    std::optional<std::vector<std::string>> cgroups{};
    /// The complete environment, entries "NAME=value". Nothing is inherited.
    std::vector<std::string> environment{};
};

/// Writes "Script(uuid: 933d6c80-dea9-8c6b-d111-8b3b46a181f1, description: nightly backup)".
VORN_GW_COMMON_EXPORT std::ostream& operator<<(std::ostream& stream, const Script& script);

/// Is told how scripts went. Called on the executor's thread, without any lock.
class VORN_GW_COMMON_EXPORT IScriptExecutorObserver {
  public:
    virtual ~IScriptExecutorObserver();
    /// The script has ended. `result` is what the routine returned: with the default routine the
    /// exit status, 1 too when the root could not be entered or the shell not be executed, -1 when
    /// a signal ended the script, and with every routine when it could not be started for lack of
    /// processes, threads or memory.
    virtual void onScriptFinished(const Script& script, int result) = 0;
    /// The script has outlived its time limit; repeated until it has ended.
    virtual void onScriptTimeout(const Script& script) = 0;
};

struct ScriptContext;

/// Runs shell scripts in the background: requests are queued, at most a fixed number runs at once,
/// each on a thread of its own and with a deadline, and an observer is told of the end.
///
///     ScriptExecutor executor(4, kDefaultScriptRoutine);
///     executor.start();
///     executor.execute(script, std::make_shared<Observer>(), time::SecondsDuration(60));
///
/// The output of the scripts goes where the service's own output goes; it is not captured
/// (executable::Executable captures).
///
/// State x operation:
///
/// | State   | start   | execute                 | terminate                      | destructor |
/// |---------|---------|-------------------------|--------------------------------|------------|
/// | stopped | running | false                   | nothing                        | nothing    |
/// | running | nothing | queued, or false (full) | waits for the scripts; stopped | terminates |
///
/// A request is queued, then runs (or is dropped, when its uuid is active), then is collected.
///
/// SIGCHLD must not be ignored, and nothing else in the service may reap the children of the
/// default routine: their exit status is lost then (-1). From Linux 5.2 on nobody else is
/// killed even so.
///
/// Threads: execute, start and terminate may be called from any thread; observers may call execute.
/// Lifetime: an observer or routine must not call start or terminate, nor destroy the executor.
///
/// Deliberate: full is judged by the scripts that run at this moment; queued ones are not counted.
/// Deliberate: a request whose uuid is active is dropped without telling anybody.
/// Deliberate: scripts are looked at one after the other, up to one second each, so the deadline of
/// one may be noticed as many seconds late as there are others before it, and a queued request may
/// wait as long. At each further look after the deadline the kill and onScriptTimeout are repeated.
/// Deliberate: a routine that never stores a process id leaves it 0, and past the deadline SIGKILL
/// goes to process 0, the service's own process group. Store -1 where there is no process.
/// Deliberate: terminate waits for running scripts without limit; deadlines are not enforced
/// meanwhile, and the observers of scripts that end meanwhile are told only after another start.
/// Deliberate: an exception from an observer or a routine ends the processing silently; execute
/// still accepts requests while slots seem free. They wait for the start after a terminate.
class VORN_GW_COMMON_EXPORT ScriptExecutor {
  public:
    /// Runs one script and returns its result. Called on a thread of its own.
    using Routine = std::function<int(ScriptContext*)>;

    /// One entry of the queue.
    struct ScriptExecutionRequest {
        /// A copy; the observer is told of this one.
        Script script{};
        /// Told how the script went; may be empty.
        std::shared_ptr<IScriptExecutorObserver> observer{};
        /// The time limit, in seconds from the start of the script; infinite for none.
        time::SecondsDuration timeout{};
    };

    /// `routine` normally is kDefaultScriptRoutine. Nothing runs before start().
    ScriptExecutor(std::uint32_t maxConcurrent, Routine routine);
    /// terminate(); then waits for what a processing that ended early has left running.
    ~ScriptExecutor();
    ScriptExecutor(const ScriptExecutor&) = delete;
    ScriptExecutor& operator=(const ScriptExecutor&) = delete;

    /// Starts the processing; nothing when it runs. Throws std::system_error when the system has no
    /// further thread, and std::bad_alloc; it is stopped then.
    void start();

    /// Queues a request. False, doing nothing, when the executor is stopped or `maxConcurrent`
    /// scripts run. Throws std::bad_alloc, having queued nothing.
    bool execute(ScriptExecutionRequest request);
    /// The same, from the parts of a request.
    bool execute(const Script& script, std::shared_ptr<IScriptExecutorObserver> observer,
                 time::SecondsDuration timeout);
    /// The observer stays the caller's and must live until it has been told of the end.
    bool execute(const Script& script, IScriptExecutorObserver* observer,
                 time::SecondsDuration timeout);

    /// Stops the processing and waits for the scripts that run; nothing when it is stopped, or
    /// being stopped by another thread. Requests that are still queued wait for the next start. May
    /// be called at any time together with start; after a concurrent pair it may be stopped.
    void terminate();

  private:
    using Contexts = std::vector<std::unique_ptr<ScriptContext>>;

    VORN_GW_COMMON_HIDDEN void stopProcessing();
    VORN_GW_COMMON_HIDDEN void processingLoop();
    VORN_GW_COMMON_HIDDEN void waitForWork();
    VORN_GW_COMMON_HIDDEN std::optional<ScriptExecutionRequest> takeNext();
    VORN_GW_COMMON_HIDDEN void launch(ScriptExecutionRequest request);
    VORN_GW_COMMON_HIDDEN void monitor();
    VORN_GW_COMMON_HIDDEN void checkDeadline(ScriptContext& context) const;
    VORN_GW_COMMON_HIDDEN void updateCount();

    std::atomic<bool> running_ = false;
    const std::uint32_t maxConcurrent_;
    const Routine routine_;
    std::atomic<std::size_t> activeContexts_ = 0;

    std::mutex mutex_;
    std::condition_variable queueChanged_;
    std::queue<ScriptExecutionRequest> queue_;  // guarded by mutex_

    std::mutex lifecycleMutex_;
    std::unique_ptr<Thread> thread_;  // guarded by lifecycleMutex_

    Contexts contexts_;  // of the processing thread
};

/// One started run, as its routine sees it. A routine may set `pid` and `notified`; the rest
/// belongs to the executor.
struct ScriptContext {
    int state = 0;  ///< 1 while the routine runs, 0 before and once its result was collected
    ScriptExecutor::ScriptExecutionRequest request{};  ///< as it was queued
    std::future<int> result{};                         ///< of the routine
    bool notified = false;  ///< true: onScriptFinished is not called, and the result not looked at
    /// The process that is killed past the deadline. Starts at 0; negative means none.
    std::atomic<pid_t> pid = 0;
    std::chrono::steady_clock::time_point started{};   ///< the time limit counts from here
    std::chrono::steady_clock::time_point deadline{};  ///< the greatest instant means none
    /// False while `pid` must not be signalled: the default routine clears it before it starts its
    /// process and once it has reaped it, so that no process with a reused id is hit.
    std::atomic<bool> killable = true;
    /// The process of the default routine while it is killable, which is then killed instead of
    /// whatever has the id `pid`.
    const internal::Child* child = nullptr;
};

/// Runs the script with /bin/sh -c in a child, inside its root directory and control groups, and
/// waits for it: the exit status, or -1 when a signal ended it or it could not be started. The
/// child keeps standard input, output and error of the service; descriptors 3 to 4095 are closed.
/// Stores the child's id in the context. Throws nothing.
///
/// The start waits for the child's chdir, chroot and execve: on a file system that hangs, the
/// script's thread hangs with the child, and its deadline kills nothing.
VORN_GW_COMMON_EXPORT extern const ScriptExecutor::Routine kDefaultScriptRoutine;

/// The first context that runs a script with that identifier, or the end.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::vector<std::unique_ptr<ScriptContext>>::const_iterator
findByUuid(const std::vector<std::unique_ptr<ScriptContext>>& contexts, const Uuid& uuid);

}  // namespace vorn::common
