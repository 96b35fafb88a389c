// SPDX-License-Identifier: MIT
#include "helpers/child.h"

#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
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

}  // namespace

pid_t startProcess(const std::function<int()>& body) {
    const pid_t pid = ::fork();
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid != 0) {
        return pid;
    }
    // Not the C library's function, which some tests replace.
    ::syscall(SYS_prctl, PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
    int code = 99;
    try {
        code = body();
    } catch (...) {
    }
    leave(code);
}

int waitForEnd(pid_t pid) {
    int status = 0;
    while (::waitpid(pid, &status, 0) == -1 && errno == EINTR) {
    }
    return status;
}

ChildResult runInChild(
    const std::function<int(const std::function<void(const std::string&)>&)>& body) {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw std::runtime_error("pipe failed");
    }
    const pid_t pid = startProcess([&] {
        ::close(ends[0]);
        const auto report = [&](const std::string& text) { writeAll(ends[1], text); };
        try {
            return body(report);
        } catch (const std::exception& error) {
            report(error.what());
            throw;
        }
    });
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

    const int status = waitForEnd(pid);
    if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
    }
    return result;
}

}  // namespace helpers
