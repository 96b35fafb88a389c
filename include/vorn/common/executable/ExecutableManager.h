// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <vorn/common/Uuid.h>
#include <vorn/common/executable/Executable.h>
#include <vorn/common/executable/IExecutable.h>
#include <vorn/common/export.h>

namespace vorn::common::executable {

/// What is moved into an ExecutableManager. The caller fills `executable` only.
struct ExecutableHolder {
    /// Destroyed with the holder, which kills its child when it still runs.
    std::unique_ptr<IExecutable> executable{};
    Uuid uuid{};                ///< assigned by the manager
    std::string description{};  ///< assigned by the manager
    /// Assigned by the manager; may be empty.
    std::function<void(const IExecutable&, const Uuid&, const std::string& description)> callback{};
};

/// How a synchronous run went: what the executable answered after it.
struct ExecutionResult {
    Executable::Status status = Executable::Idle;  ///< Exited or TimedOut
    std::optional<std::int32_t> exitCode{};        ///< when the status is Exited
    std::optional<std::string> stdOut{};           ///< what readFromStdOut() gave
    std::optional<std::string> stdErr{};           ///< what readFromStdErr() gave
};

/// Runs executables under identifiers chosen by the caller, up to a fixed number at once.
///
///     ExecutableManager manager(4);
///     ExecutableHolder holder;
///     holder.executable = std::make_unique<Script>("backup.sh", params);
///     manager.execAsync(std::move(holder), Uuid(0ULL), "nightly backup",
///                       [](const IExecutable& run, const Uuid&, const std::string& description) {
///                           log(description, run.getExitCode());
///                       });
///
/// A collector thread looks every 500 ms for what has ended, calls the callbacks in the order of
/// submission and destroys the executables. State of one identifier x operation:
///
/// | State               | execAsync, execSync | isRunning | getDescription | abort           |
/// |---------------------|---------------------|-----------|----------------|-----------------|
/// | unknown             | registered and runs | false     | no value       | false           |
/// | running             | std::logic_error    | true      | its text       | kills, true     |
/// | ended, not collected| std::logic_error    | true      | its text       | drops, true     |
/// | start failed        | std::logic_error    | true      | its text       | drops, true     |
/// | collected           | registered and runs | false     | no value       | false           |
///
/// Threads: everything may be called from any thread, also from callbacks, which run on the
/// collector thread without any lock. An exception that leaves a callback ends the process.
/// Lifetime: the manager must not be destroyed by a callback of its own. Callbacks are never called
/// for what abort() or the destructor removed.
///
/// Deliberate: an executable counts against the limit and as running until it is collected, up to
/// half a second after its end.
/// Deliberate: execSync holds the manager for the whole run: every other operation and the
/// collector wait until it has ended, for ever when a signal ended the child.
/// Deliberate: an executable that failed to start keeps its place until abort() removes it.
/// Deliberate: a limit of 0 refuses everything.
class VORN_GW_COMMON_EXPORT ExecutableManager {
  public:
    /// Told of the end, with the uuid and description that the run was given.
    using Callback =
        std::function<void(const IExecutable&, const Uuid&, const std::string& description)>;

    /// Starts the collector. `limit` is the greatest number of registered executables.
    explicit ExecutableManager(std::uint32_t limit);
    /// Kills what still runs (without callbacks) and joins the collector, which first ends the
    /// callbacks that it has begun to call.
    virtual ~ExecutableManager();
    ExecutableManager(const ExecutableManager&) = delete;
    ExecutableManager& operator=(const ExecutableManager&) = delete;

    /// Registers and starts; returns at once. `callback` (may be empty) is called with the
    /// executable, `uuid` and `description` once it has ended.
    ///
    /// Throws, registering nothing, std::logic_error "limit of concurrent scripts reached" and,
    /// after that, std::logic_error "uuid must be unique"; std::invalid_argument for a holder
    /// without executable. Errors of the start pass, and the holder stays registered.
    void execAsync(ExecutableHolder&& holder, const Uuid& uuid, const std::string& description,
                   const Callback& callback);

    /// Runs to the end on the calling thread, under the same conditions (its errors are those
    /// above), but without being registered. The holder stays with the caller.
    ExecutionResult execSync(ExecutableHolder&& holder, const Uuid& uuid);

    /// True while an executable is registered under `uuid`.
    [[nodiscard]] bool isRunning(const Uuid& uuid) const;

    /// The description given to execAsync, or no value when nothing is registered under `uuid`.
    [[nodiscard]] std::optional<std::string> getDescription(const Uuid& uuid) const;

    /// Removes what is registered under `uuid`, killing its child and waiting until it is gone;
    /// false when there is nothing. Its callback is never called.
    bool abort(const Uuid& uuid);

  private:
    VORN_GW_COMMON_HIDDEN void clearCompletedAndVerifyRequest(const Uuid& uuid) const;
    VORN_GW_COMMON_HIDDEN void collect();
    VORN_GW_COMMON_HIDDEN std::list<ExecutableHolder> takeCompleted();

    const std::uint32_t limit_;

    mutable std::mutex mutex_;
    std::condition_variable stopped_;
    std::list<ExecutableHolder> holders_;  // guarded by mutex_
    bool stopping_ = false;                // guarded by mutex_

    std::thread worker_;
};

}  // namespace vorn::common::executable
