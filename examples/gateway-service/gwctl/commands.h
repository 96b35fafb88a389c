// SPDX-License-Identifier: MIT
#pragma once

#include "Arguments.h"
#include "Session.h"

namespace gateway {

// What gwctl returns. `run --wait` and `exec` return the exit code of what they ran, so their own
// codes keep to the numbers that <sysexits.h> and timeout(1) made customary.
constexpr int kDone = 0;
constexpr int kUsage = 64;          ///< wrong usage
constexpr int kNoConnection = 69;   ///< no service there, or the connection broke
constexpr int kNotWritten = 74;     ///< the standard output does not take what is to be shown
constexpr int kRefused = 75;        ///< the service cannot do it now
constexpr int kNotUnderstood = 76;  ///< one side does not understand the other
constexpr int kTimedOut = 124;      ///< the job outlived its time-out
constexpr int kKilled = 125;        ///< a signal killed the job, it was cancelled or not started

/// What every command is given.
struct Call {
    std::string socket;
    bool json;
    Arguments& arguments;
};

// Each command takes its own options and operands, speaks to the service and returns gwctl's exit
// code. They throw `UsageError` before they connect, and what `Session` throws.

[[nodiscard]] int bindCommand(const Call& call);
[[nodiscard]] int cancelCommand(const Call& call);
[[nodiscard]] int execCommand(const Call& call);
[[nodiscard]] int resultCommand(const Call& call);
[[nodiscard]] int runCommand(const Call& call);
[[nodiscard]] int setCommand(const Call& call);
[[nodiscard]] int settingsCommand(const Call& call);
[[nodiscard]] int statusCommand(const Call& call);

}  // namespace gateway
