// SPDX-License-Identifier: MIT
#include "helpers/child.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <stdexcept>

#include "helpers/leave.h"

namespace helpers {
namespace {

void writeAll(int fd, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const auto count = ::write(fd, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) {
            ::_exit(98);
        }
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        }
    }
}

[[noreturn]] void runBody(
    int fd, const std::function<int(const std::function<void(const std::string&)>&)>& body) {
    const auto report = [fd](const std::string& text) { writeAll(fd, text); };
    int code = 99;
    try {
        code = body(report);
    } catch (const std::exception& error) {
        report(error.what());
    }
    leave(code);
}

}  // namespace

ChildResult runInChild(
    const std::function<int(const std::function<void(const std::string&)>&)>& body) {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw std::runtime_error("pipe failed");
    }
    const pid_t pid = ::fork();
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid == 0) {
        ::close(ends[0]);
        runBody(ends[1], body);
    }
    ::close(ends[1]);

    ChildResult result;
    char buffer[4096];
    for (;;) {
        const auto count = ::read(ends[0], buffer, sizeof buffer);
        if (count > 0) {
            result.report.append(buffer, static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    ::close(ends[0]);

    int status = 0;
    while (::waitpid(pid, &status, 0) == -1 && errno == EINTR) {
    }
    if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
    }
    return result;
}

}  // namespace helpers
