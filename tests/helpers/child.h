// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace helpers {

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
