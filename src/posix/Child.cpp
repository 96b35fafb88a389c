// SPDX-License-Identifier: MIT
#include "posix/Child.h"

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

#include "internal/waitReady.h"
#include "posix/retry.h"

#ifndef SYS_pidfd_send_signal
#define SYS_pidfd_send_signal 424
#endif

namespace vorn::common::internal {
namespace {

/// P_PIDFD, which not every C library has.
constexpr auto kByDescriptor = static_cast<idtype_t>(3);

/// PIDFD_SIGNAL_PROCESS_GROUP.
constexpr unsigned kWholeGroup = 1U << 2U;

int waitId(pid_t id, const Descriptor& process, siginfo_t& info, int options) noexcept {
    if (process) {
        const int result = retryOnEintr([&] {
            return ::waitid(kByDescriptor, static_cast<id_t>(process.get()), &info, options);
        });
        // Any other error comes from a kernel that does not wait by descriptor (before Linux 5.4).
        if (result == 0 || errno == ECHILD) {
            return result;
        }
    }
    return retryOnEintr([&] { return ::waitid(P_PID, static_cast<id_t>(id), &info, options); });
}

}  // namespace

Child::Child(pid_t id, Descriptor process) noexcept : id_(id), process_(std::move(process)) {}

bool Child::hasEnded(int options) const noexcept {
    siginfo_t info{};
    // With WNOHANG a child that still runs leaves the record as it is.
    return waitId(id_, process_, info, WEXITED | WNOWAIT | options) == -1 || info.si_pid != 0;
}

void Child::waitForEnd() const noexcept {
    static_cast<void>(hasEnded(0));
}

bool Child::waitForEnd(Clock::time_point deadline) const noexcept {
    while (process_ && !hasEnded(WNOHANG)) {
        if (Clock::now() >= deadline) {
            return false;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(waitSlice(deadline));
        pollfd entry{process_.get(), POLLIN, 0};
        // Ready means ended; but Linux 5.2 calls every process descriptor ready, a debugger keeps
        // an ended child from its parent, and a limit of no descriptors refuses the call. None of
        // them may make this a loop without pauses.
        if (::poll(&entry, 1, static_cast<int>(left.count())) != 0) {
            return pollForEnd(deadline);
        }
    }
    return process_ || pollForEnd(deadline);
}

bool Child::pollForEnd(Clock::time_point deadline) const noexcept {
    constexpr Clock::duration kLongestPause = std::chrono::milliseconds(20);
    Clock::duration pause = std::chrono::milliseconds(1);
    while (!hasEnded(WNOHANG)) {
        if (Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::min(pause, waitSlice(deadline)));
        pause = std::min(2 * pause, kLongestPause);
    }
    return true;
}

std::optional<std::int32_t> Child::reap() const noexcept {
    siginfo_t info{};
    if (waitId(id_, process_, info, WEXITED) == -1 || info.si_code != CLD_EXITED) {
        return std::nullopt;
    }
    return info.si_status;
}

bool Child::signal(int number) const noexcept {
    if (id_ <= 0) {
        return false;
    }
    if (process_) {
        if (::syscall(SYS_pidfd_send_signal, process_.get(), number, nullptr, 0) == 0) {
            return true;
        }
        // Reaped: the id may be a stranger's. Other errors come from a kernel or a filter that does
        // not know this call, or are told again by the one below.
        if (errno == ESRCH) {
            return false;
        }
    }
    return ::kill(id_, number) == 0 || errno != ESRCH;
}

void Child::kill() const noexcept {
    static_cast<void>(signal(SIGKILL));
}

void Child::killGroup() const noexcept {
    // Only ever means this child's group; from Linux 6.9 on.
    if (!process_ ||
        ::syscall(SYS_pidfd_send_signal, process_.get(), SIGKILL, nullptr, kWholeGroup) != 0) {
        // Before the leader: while that lives, its id does not pass to a stranger between the look
        // and the kill, whoever reaps.
        if (signal(0)) {
            static_cast<void>(::kill(-id_, SIGKILL));
        }
    }
    kill();
}

void killById(pid_t id) noexcept {
    static_cast<void>(::kill(id, SIGKILL));
}

}  // namespace vorn::common::internal
