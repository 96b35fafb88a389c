// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "helpers/TempDir.h"

namespace service_tests {

/// The service in a directory of its own, as somebody starts it: a pipe to its standard input,
/// files for what it writes. Killed with the object if it still runs.
class RunningService {
  public:
    /// `change` edits the configuration.
    explicit RunningService(const std::function<void(std::string&)>& change = {});
    ~RunningService();
    RunningService(const RunningService&) = delete;
    RunningService& operator=(const RunningService&) = delete;

    /// Starts it, again after it has ended; `inChild` runs in the child just before.
    void start(const std::function<void()>& inChild = {});

    void send(const std::string& text) const;
    /// Sends as much as the pipe takes.
    void trySend(const std::string& text) const;
    void endInput();
    void signal(int number) const;
    /// Waits until it has said so many lines, and returns the last of them.
    [[nodiscard]] std::string line(std::size_t count) const;
    /// Sends a line and returns the next line that it says.
    std::string ask(const std::string& request) const;
    /// The exit code, or 1000 plus the signal that ended it. Waits up to 60 seconds.
    int wait();
    bool running();

    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] std::string output() const;
    [[nodiscard]] std::string errors() const;
    [[nodiscard]] std::string settings() const { return directory_.file("settings.json"); }
    [[nodiscard]] const helpers::TempDir& directory() const { return directory_; }

  private:
    helpers::TempDir directory_;
    std::string configuration_;
    pid_t pid_ = -1;
    int input_ = -1;
    std::optional<int> status_;
};

/// Replaces one part of a text.
[[nodiscard]] std::function<void(std::string&)> replacing(const std::string& part,
                                                          const std::string& by);
/// A configuration with this script and time limit.
[[nodiscard]] std::function<void(std::string&)> running(const std::string& script,
                                                        unsigned timeout = 60);

}  // namespace service_tests
