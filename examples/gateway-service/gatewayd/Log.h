// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace gateway::log {

enum class Level { Error, Warning, Info, Debug };

/// The level of that name ("error", "warning", "info", "debug").
[[nodiscard]] std::optional<Level> levelFrom(const std::string& name);

/// Prepares the standard error stream for lines that never wait. Call it while the process has one
/// thread and may still reopen the stream, so before it becomes another user.
void open();

/// From now on only lines of this level and of those before it are written. Default: Info.
void setLevel(Level level);

/// One line for the log, with "gatewayd: " in front and a dot for each control character and each
/// byte that is not UTF-8.
///
/// Never waits: a line that the stream does not take now is kept, up to 64 KiB of them; what is
/// more is dropped and counted, and the count is told when there is room again. A stream that takes
/// nothing any more is no error.
///
/// Threads: all of them.
void error(const std::string& text);
void warning(const std::string& text);
void info(const std::string& text);
void debug(const std::string& text);

/// Tries again to write what is kept. `milliseconds`: how long to wait for the stream at most.
void flush(int milliseconds = 0);

}  // namespace gateway::log
