// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <vorn/common/export.h>

namespace vorn::common::executable {

/// Something that is run once and then read: the interface of Executable, for tests and wrappers.
class VORN_GW_COMMON_EXPORT IExecutable {
  public:
    /// The values are fixed: everything above Running has ended.
    enum Status : int {
        Idle = 0,      ///< never started
        Running = 1,   ///< started; also after a start that failed
        TimedOut = 2,  ///< the time limit passed and the child was sent SIGKILL
        Aborted = 3,   ///< ended without an exit status: a signal, or waiting failed
        Exited = 4,    ///< ended by itself; getExitCode() has its status
    };

    /// Starts, returns at once; `onDone` (may be empty) is called when the run has ended.
    virtual void execAsync(const std::function<void(const IExecutable&)>& onDone) = 0;
    /// Starts and blocks until the run has ended.
    virtual void execSync() = 0;
    /// May change at any time while it is Running, and never after that.
    [[nodiscard]] virtual Status getStatus() const = 0;
    /// The exit status, 0 to 255, when the status is Exited.
    [[nodiscard]] virtual std::optional<std::int32_t> getExitCode() const = 0;
    /// What was written to the standard output; no value before the start.
    virtual std::optional<std::string> readFromStdOut() const = 0;
    /// What was written to the standard error; no value before the start.
    virtual std::optional<std::string> readFromStdErr() const = 0;
    virtual ~IExecutable();
};

}  // namespace vorn::common::executable
