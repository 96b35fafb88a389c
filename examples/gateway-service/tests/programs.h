// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <vorn/common/lwjson/Deserializer.h>

#include "LineBuffer.h"
#include "descriptors.h"
#include "helpers/TempDir.h"

namespace gateway_tests {

/// How to start a program.
struct Launch {
    std::string directory;  ///< where it starts; its streams are files there
    std::string program;
    std::vector<std::string> arguments;
    std::string input{};              ///< what it reads from its standard input
    uid_t user = ::getuid();          ///< whom it runs as; its exit code is 126 when it cannot
    std::function<void()> prepare{};  ///< called in the child last of all
};

/// A started program (through the emulator where there is one). Killed with the object if it still
/// runs.
class Process {
  public:
    explicit Process(const Launch& launch);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t id() const { return pid_; }
    void signal(int number) const;
    /// The exit code, or 1000 plus the signal that ended it. Waits up to 60 seconds.
    int wait();
    [[nodiscard]] bool running();
    [[nodiscard]] std::string output() const;
    [[nodiscard]] std::string errors() const;

  private:
    void reap(int options);

    std::string outputFile_;
    std::string errorFile_;
    pid_t pid_ = -1;
    std::optional<int> status_;
};

/// A connection of a test to the service, byte by byte.
class RawClient {
  public:
    explicit RawClient(const std::string& socket);
    explicit RawClient(gateway::FileDescriptor socket) : socket_(std::move(socket)) {}

    void send(const std::string& bytes);
    /// Sends as much as goes without waiting; returns how much went.
    std::size_t trySend(const std::string& bytes);
    void endInput();
    /// The next line, waited for up to 60 seconds; empty when the service closed the connection.
    std::string line();
    std::string ask(const std::string& request);

  private:
    gateway::FileDescriptor socket_;
    gateway::LineBuffer input_{std::size_t{4} << 20U};
};

struct Outcome {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

/// A service in a directory of its own. Stopped with SIGTERM with the object.
class RunningService {
  public:
    /// `members`: more members of the configuration, each beginning with a comma. Returns when the
    /// service answers.
    explicit RunningService(const std::string& members = "",
                            const std::function<void()>& prepare = {});
    ~RunningService();

    [[nodiscard]] std::string socket() const { return directory_.file("run/gatewayd.sock"); }
    [[nodiscard]] const helpers::TempDir& directory() const { return directory_; }
    [[nodiscard]] Process& process() { return *process_; }
    [[nodiscard]] std::string settingsFile() const {
        return directory_.file("run/gatewayd.settings.json");
    }
    /// Waits until the log holds the text.
    [[nodiscard]] bool logs(const std::string& text) const;
    /// Waits until a status has that value in that place.
    [[nodiscard]] bool shows(const std::vector<const char*>& path, const std::string& value) const;
    /// Replaces the configuration; see the constructor.
    void configure(const std::string& members);
    /// Starts it again, after it ended.
    void start();
    /// Sends SIGTERM and returns the exit code.
    int stop();

    /// Runs gwctl on this service.
    [[nodiscard]] Outcome control(const std::vector<std::string>& arguments,
                                  const std::string& input = "") const;
    [[nodiscard]] RawClient connect() const { return RawClient(socket()); }

  private:
    helpers::TempDir directory_;
    std::string configuration_;
    std::function<void()> prepare_;
    std::optional<Process> process_;
};

[[nodiscard]] std::string gatewaydProgram();
[[nodiscard]] std::string controlProgram();
[[nodiscard]] Outcome runProgram(const Launch& launch);
[[nodiscard]] Outcome runControl(const std::vector<std::string>& arguments);

/// The member of a JSON line under a path of names, as it is written ("" when there is none).
[[nodiscard]] std::string member(const std::string& line, const std::vector<const char*>& path);

}  // namespace gateway_tests
