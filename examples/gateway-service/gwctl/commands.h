#pragma once

#include "Arguments.h"
#include "Session.h"

namespace gateway {

/// Seconds that a script or program may take when `--timeout` is not given.
inline constexpr unsigned kDefaultTimeout = 60;

// Each command takes its own options and operands, speaks to the service and returns gwctl's exit
// code. They throw `UsageError` before they connect, and what `Session` throws.

[[nodiscard]] int bindCommand(const std::string& socket, bool json, Arguments& arguments);
[[nodiscard]] int runCommand(const std::string& socket, bool json, Arguments& arguments);
[[nodiscard]] int execCommand(const std::string& socket, bool json, Arguments& arguments);
[[nodiscard]] int setCommand(const std::string& socket, bool json, Arguments& arguments);
[[nodiscard]] int settingsCommand(const std::string& socket, bool json, Arguments& arguments);
[[nodiscard]] int statusCommand(const std::string& socket, bool json, Arguments& arguments);
[[nodiscard]] int watchCommand(const std::string& socket, bool json, Arguments& arguments);

}  // namespace gateway
