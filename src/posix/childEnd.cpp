#include "posix/childEnd.h"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "internal/waitReady.h"
#include "posix/Descriptor.h"
#include "posix/retry.h"

#ifndef SYS_pidfd_open
#define SYS_pidfd_open 434
#endif

namespace vorn::common::internal {
namespace {

using Clock = std::chrono::steady_clock;

bool hasEnded(pid_t pid, int options) noexcept {
    siginfo_t info{};
    const int result = retryOnEintr([&] {
        return ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT | options);
    });
    return result == -1 || info.si_pid != 0;
}

}  // namespace

bool waitForEnd(pid_t pid) noexcept {
    return hasEnded(pid, 0);
}

bool waitForEnd(pid_t pid, Clock::time_point deadline) noexcept {
    const Descriptor process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    if (!process) {
        return pollForEnd(pid, deadline);
    }
    while (!hasEnded(pid, WNOHANG)) {
        if (Clock::now() >= deadline) {
            return false;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(waitSlice(deadline));
        pollfd entry{process.get(), POLLIN, 0};
        ::poll(&entry, 1, static_cast<int>(left.count()));
    }
    return true;
}

bool pollForEnd(pid_t pid, Clock::time_point deadline) noexcept {
    constexpr Clock::duration kLongestPause = std::chrono::milliseconds(20);
    Clock::duration pause = std::chrono::milliseconds(1);
    while (!hasEnded(pid, WNOHANG)) {
        if (Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::min(pause, waitSlice(deadline)));
        pause = std::min(2 * pause, kLongestPause);
    }
    return true;
}

std::optional<std::int32_t> reap(pid_t pid) noexcept {
    int status = 0;
    if (retryOnEintr([&] { return ::waitpid(pid, &status, 0); }) != pid || !WIFEXITED(status)) {
        return std::nullopt;
    }
    return WEXITSTATUS(status);
}

}  // namespace vorn::common::internal
