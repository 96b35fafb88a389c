// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>

#include "helpers/child.h"
#include "helpers/leave.h"
#include "helpers/wait_until.h"

namespace helpers {

/// Runs `body` as the first process of a process id namespace, where ids can be chosen and where
/// nothing outside can be signalled. The exit code is empty and the report "no namespace" where
/// that is not to be had; otherwise as runInChild.
inline ChildResult runInPidNamespace(
    const std::function<int(const std::function<void(const std::string&)>&)>& body) {
    return runInChild([&](const auto& report) {
        if (::unshare(CLONE_NEWPID) != 0) {
            report("no namespace");
            return ::raise(SIGKILL);
        }
        const pid_t init = ::fork();
        if (init == 0) {
            // Interrupted tests leave nothing behind; not the C library's function, as in
            // child.cpp.
            ::syscall(SYS_prctl, PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
            leave(body(report));
        }
        int status = 0;
        while (::waitpid(init, &status, 0) == -1 && errno == EINTR) {
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 98;
    });
}

/// A child that gets the id of a process that is gone, leads a process group, and lives until it is
/// asked. Not known to the library under test, which must leave it alone.
class Bystander {
  public:
    /// Waits until the id is free.
    explicit Bystander(pid_t id) {
        if (::pipe(question_) == 0 && ::pipe(answer_) == 0) {
            static_cast<void>(
                waitUntil([&] { return (id_ = start(id)) == id || errno != EEXIST; }));
            ::setpgid(id_, id_);
        }
    }
    ~Bystander() {
        if (id_ > 0) {
            ::kill(id_, SIGKILL);
        }
        for (const int fd : {question_[0], question_[1], answer_[0], answer_[1]}) {
            ::close(fd);
        }
    }
    Bystander(const Bystander&) = delete;
    Bystander& operator=(const Bystander&) = delete;

    /// -1 when it could not be started.
    [[nodiscard]] pid_t id() const { return id_; }

    /// Lets it end; true when it was alive until then.
    [[nodiscard]] bool lived() {
        char byte = 'x';
        ::close(answer_[1]);
        answer_[1] = -1;
        return ::write(question_[1], &byte, 1) == 1 && ::read(answer_[0], &byte, 1) == 1;
    }

  private:
    pid_t start(pid_t id) const {
        constexpr long kClone3 = 435;
        struct {
            std::uint64_t flags, pidfd, childTid, parentTid, exitSignal, stack, stackSize, tls;
            std::uint64_t ids, idCount;
        } arguments{};
        arguments.exitSignal = SIGCHLD;
        arguments.ids = reinterpret_cast<std::uintptr_t>(&id);
        arguments.idCount = 1;
        const auto started = static_cast<pid_t>(::syscall(kClone3, &arguments, sizeof arguments));
        if (started == 0) {
            ::close(question_[1]);
            char byte = 0;
            const bool asked = ::read(question_[0], &byte, 1) == 1;
            ::_exit(asked && ::write(answer_[1], &byte, 1) == 1 ? 0 : 1);
        }
        return started;
    }

    int question_[2] = {-1, -1};
    int answer_[2] = {-1, -1};
    pid_t id_ = -1;
};

}  // namespace helpers

/// Skips a test whose namespace was not to be had, saying why.
#define VORN_REQUIRE_NAMESPACE(result)                                           \
    do {                                                                         \
        if ((result).report == "no namespace") {                                 \
            GTEST_SKIP() << "needs the privilege to make process id namespaces"; \
        }                                                                        \
    } while (false)
