// SPDX-License-Identifier: MIT

// Everything in this file runs in the child, between its creation (startChild.cpp) and execve, on a
// small stack, in the parent's memory, with all signals blocked and while other threads of the
// parent hold locks. So: plain system calls with prepared arguments, and nothing else. No
// allocation, no lock, no stdio, no exception, no static that is initialised late; and no wrapper
// of the C library, which may be a cancellation point or intercepted by a sanitizer. The file is
// compiled without instrumentation for the same reason.
#include "posix/inChild.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifndef SYS_close_range
#define SYS_close_range 436
#endif

namespace vorn::common::internal {
namespace {

constexpr int kLastSignal = 64;
constexpr std::size_t kKernelSignalSetSize = kLastSignal / 8;

/// As the kernel has it: what follows the handler differs between architectures, and is only ever
/// read into or all zero here.
struct KernelSignalAction {
    unsigned long handler;
    unsigned long rest[7];
};

template <class... Arguments>
long call(long number, Arguments... arguments) noexcept {
    // A reference or an object would not survive the way through the variadic call.
    static_assert(((std::is_arithmetic_v<Arguments> || std::is_pointer_v<Arguments> ||
                    std::is_null_pointer_v<Arguments>)&&...));
    return ::syscall(number, arguments...);
}

[[noreturn]] void leave(int code) noexcept {
    for (;;) {
        call(SYS_exit_group, code);
    }
}

void closeDescriptors(const ClosedRanges& closed) noexcept {
    for (std::size_t i = 0; i < closed.count; ++i) {
        const auto [first, last] = closed.ranges[i];
        if (call(SYS_close_range, first, last, 0) == 0) {
            continue;
        }
        // Before Linux 5.9, or forbidden by a filter.
        for (int fd = first; fd <= last; ++fd) {
            call(SYS_close, fd);
        }
    }
}

/// A handler of the parent's must not run in the child. What is ignored stays ignored.
void resetCaughtSignals() noexcept {
    const KernelSignalAction defaultAction{};
    for (int signal = 1; signal <= kLastSignal; ++signal) {
        KernelSignalAction action{};
        call(SYS_rt_sigaction, signal, nullptr, &action, kKernelSignalSetSize);
        if (action.handler > reinterpret_cast<unsigned long>(SIG_IGN)) {
            call(SYS_rt_sigaction, signal, &defaultAction, nullptr, kKernelSignalSetSize);
        }
    }
}

}  // namespace

void setUpChild(const ChildOrders& orders) noexcept {
    const ChildPlan& plan = orders.plan;
    if (plan.ownProcessGroup) {
        call(SYS_setpgid, 0, 0);
    }
    closeDescriptors(orders.closed);
    for (const int fd : plan.keptDescriptors) {
        if (fd != -1) {
            call(SYS_fcntl, fd, F_SETFD, 0);
        }
    }
    if (plan.standardOutput != -1) {
        call(SYS_dup3, plan.standardOutput, STDOUT_FILENO, 0);
    }
    if (plan.standardError != -1) {
        call(SYS_dup3, plan.standardError, STDERR_FILENO, 0);
    }
    if (plan.root != nullptr && (call(SYS_chdir, plan.root) != 0 ||
                                 call(SYS_chroot, plan.root) != 0 || call(SYS_chdir, "/") != 0)) {
        leave(1);
    }
}

int runChild(void* argument) noexcept {
    const ChildOrders& orders = *static_cast<const ChildOrders*>(argument);
    // Before the mask is lifted: from then on a pending signal is delivered.
    resetCaughtSignals();
    setUpChild(orders);
    call(SYS_rt_sigprocmask, SIG_SETMASK, orders.mask, nullptr, kKernelSignalSetSize);
    call(SYS_execve, orders.path, orders.argv, orders.envp);
    leave(1);
}

}  // namespace vorn::common::internal
