// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include <vorn/common/Uuid.h>

namespace gateway {

/// How many bytes of each of its outputs a program's end brings along at most.
constexpr std::size_t kMostOutput = 32768;

/// What a program wrote: the first bytes of it, and whether there were more.
struct Output {
    std::string text;
    bool cut = false;
};

/// How a script or program ended.
struct JobEnd {
    enum class How {
        Exited,     ///< by itself
        Killed,     ///< by a signal that did not come from here
        TimedOut,   ///< it outlived its time-out and was killed
        Cancelled,  ///< somebody asked for its end, or the service stopped, and it was killed
        Failed,     ///< it could not be started; told apart for programs only
    };

    vorn::common::Uuid uuid;
    How how = How::Exited;
    std::optional<int> exitCode{};   ///< given if and only if it exited
    std::optional<Output> output{};  ///< given for programs only
    std::optional<Output> errors{};  ///< likewise
};

/// "exited", "killed", "timeout", "cancelled" or "failed".
[[nodiscard]] const char* toString(JobEnd::How how);

}  // namespace gateway
