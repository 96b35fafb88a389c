// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "helpers/TempDir.h"
#include "helpers/wait_until.h"

namespace helpers {

/// The state letter of a process, or of a thread of this one ("self/task/<tid>"); '-' when there is
/// none.
inline char stateOf(const std::string& entry) {
    const auto stat = contentOf("/proc/" + entry + "/stat");
    const auto name = stat.rfind(')');
    return name == std::string::npos || name + 2 >= stat.size() ? '-' : stat[name + 2];
}

/// True while a process exists and has not ended.
inline bool isAlive(pid_t pid) {
    const char state = stateOf(std::to_string(pid));
    return state != '-' && state != 'Z' && state != 'X';
}

/// Waits for a file that holds a line, and returns its first line.
inline std::string lineOf(const std::filesystem::path& path) {
    std::string line;
    const bool found = waitUntil([&] {
        const auto text = contentOf(path);
        const auto end = text.find('\n');
        line = text.substr(0, end);
        return end != std::string::npos;
    });
    return found ? line : std::string();
}

/// The same for the number of a process. Throws when there is none: kill() takes -1 for everybody.
inline pid_t pidIn(const std::filesystem::path& path) {
    const auto line = lineOf(path);
    const pid_t pid = line.empty() ? 0 : std::stoi(line);
    if (pid <= 0) {
        throw std::runtime_error("no process number in " + path.string());
    }
    return pid;
}

/// The command line with which a shell executes a text.
inline std::vector<std::string> shell(const std::string& text) {
    return {"/bin/sh", "-c", text};
}

/// The descriptors below 256 that are open in this process.
inline std::set<int> openDescriptors() {
    std::set<int> open;
    for (int fd = 0; fd < 256; ++fd) {
        if (::fcntl(fd, F_GETFD) != -1) {
            open.insert(fd);
        }
    }
    return open;
}

/// Whether this process has children, those included that have ended and nobody waited for.
inline bool hasChildren() {
    siginfo_t info{};
    return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

/// A directory that a process can have as its root: /bin/sh is a static shell, and /usr/bin/cgexec
/// writes its arguments, one a line, to /record.
class FakeRoot {
  public:
    explicit FakeRoot(std::filesystem::path path) : path_(std::move(path)) {
        namespace fs = std::filesystem;
        for (const char* directory : {"bin", "usr/bin", "tmp"}) {
            fs::create_directories(path_ / directory);
        }
        fs::copy_file(kShell, path_ / "bin/sh");
        const auto recorder = path_ / "usr/bin/cgexec";
        std::ofstream(recorder) << "#!/bin/sh\nfor word; do echo \"$word\"; done > /record\n";
        fs::permissions(recorder, fs::perms::owner_all);
    }

    [[nodiscard]] static bool available() { return std::filesystem::exists(kShell); }
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::string record() const { return contentOf(path_ / "record"); }

  private:
    static constexpr const char* kShell = "/bin/busybox";

    std::filesystem::path path_;
};

}  // namespace helpers

/// Skips a test that needs a root directory for child processes, saying why.
#define VORN_REQUIRE_FAKE_ROOT()                                                  \
    do {                                                                          \
        VORN_REQUIRE_ROOT();                                                      \
        if (!::helpers::FakeRoot::available()) {                                  \
            GTEST_SKIP() << "needs /bin/busybox (Debian package busybox-static)"; \
        }                                                                         \
    } while (false)
