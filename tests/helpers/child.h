// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

namespace helpers {

/// Forks a process that runs `body`; its result is the exit code, 99 stands for an exception. It
/// leaves through _exit and is killed when the thread that started it ends, so that an interrupted
/// test leaves none behind. Throws when there is no process to be had: kill() takes -1 for
/// everybody.
pid_t startProcess(const std::function<int()>& body);

/// Waits for the end of a child and returns what `waitpid` tells.
int waitForEnd(pid_t pid);

/// How a forked child ended, and what it reported.
struct ChildResult {
    std::optional<int> exitCode;  ///< empty when a signal ended it
    int signal = 0;               ///< the signal that ended it, or 0
    std::string report;           ///< everything `body` wrote through its argument
};

/// Runs `body` in a forked child and waits for it. `body` gets a function that sends text to the
/// parent; its result is the child's exit code. An exception ends the child with code 99 and its
/// text in the report. The child ends with leave().
ChildResult runInChild(
    const std::function<int(const std::function<void(const std::string&)>&)>& body);

}  // namespace helpers
