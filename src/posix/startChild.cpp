#include "posix/startChild.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "posix/BlockedSignals.h"
#include "posix/ExecImage.h"

// clone under the name that sanitizers do not intercept: they would take the child for a forked one
// and release their own locks twice, in memory that it shares with the parent.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int __clone(int (*)(void*), void* stackTop, int flags, void* argument, ...) noexcept;

#ifndef SYS_close_range
#define SYS_close_range 436
#endif

namespace vorn::common::internal {
namespace {

constexpr int kFirstClosed = 3;
constexpr int kLastClosed = 4095;
constexpr int kLastSignal = 64;
constexpr std::size_t kKernelSignalSetSize = kLastSignal / 8;

struct DescriptorRange {
    int first;
    int last;
};

struct ClosedRanges {
    std::array<DescriptorRange, 5> ranges;
    std::size_t count = 0;
};

struct Child {
    const ChildPlan& plan;
    ClosedRanges closed;
    const ExecImage* image;
    const sigset_t& mask;
};

/// As the kernel has it: what follows the handler differs between architectures, and is only ever
/// read into or all zero here.
struct KernelSignalAction {
    unsigned long handler;
    unsigned long rest[7];
};

ClosedRanges rangesAround(std::array<int, 4> kept) {
    std::sort(kept.begin(), kept.end());
    ClosedRanges closed;
    int first = kFirstClosed;
    for (const int fd : kept) {
        if (fd < first || fd > kLastClosed) {
            continue;
        }
        if (fd > first) {
            closed.ranges[closed.count++] = {first, fd - 1};
        }
        first = fd + 1;
    }
    if (first <= kLastClosed) {
        closed.ranges[closed.count++] = {first, kLastClosed};
    }
    return closed;
}

// From here to childMain: the child, in memory shared with its parent. Plain system calls only: the
// library's functions may be cancellation points or intercepted by a sanitizer.

template <class... Arguments>
long call(long number, Arguments... arguments) noexcept {
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
        for (int fd = first; fd <= last; ++fd) {
            call(SYS_close, fd);
        }
    }
}

void setUp(const Child& child) noexcept {
    const ChildPlan& plan = child.plan;
    if (plan.ownProcessGroup) {
        call(SYS_setpgid, 0, 0);
    }
    closeDescriptors(child.closed);
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

int childMain(void* argument) noexcept {
    const Child& child = *static_cast<const Child*>(argument);
    resetCaughtSignals();
    setUp(child);
    call(SYS_rt_sigprocmask, SIG_SETMASK, &child.mask, nullptr, kKernelSignalSetSize);
    call(SYS_execve, child.image->path(), child.image->argv(), child.image->envp());
    leave(1);
}

}  // namespace

const char* rootOf(const std::optional<std::string>& directory) noexcept {
    if (!directory) {
        return nullptr;
    }
    return directory->empty() ? "/tmp/chroot" : directory->c_str();
}

std::vector<std::string> commandIn(const std::optional<std::vector<std::string>>& controlGroups,
                                   std::vector<std::string> command) {
    if (!controlGroups) {
        return command;
    }
    std::vector<std::string> list;
    list.reserve(1 + 2 * controlGroups->size() + command.size());
    list.emplace_back("/usr/bin/cgexec");
    for (const auto& entry : *controlGroups) {
        list.emplace_back("-g");
        list.push_back(entry);
    }
    std::move(command.begin(), command.end(), std::back_inserter(list));
    return list;
}

pid_t startChild(const ChildPlan& plan, const ExecImage& image) noexcept {
    alignas(16) unsigned char stack[16 * 1024];
    const BlockedSignals blocked;
    Child child{plan, rangesAround(plan.keptDescriptors), &image, blocked.before()};
    const int errorBefore = errno;
    const pid_t pid =
        __clone(childMain, stack + sizeof stack, CLONE_VM | CLONE_VFORK | SIGCHLD, &child);
    if (pid > 0) {
        errno = errorBefore;
    }
    return pid;
}

pid_t forkChild(const ChildPlan& plan) noexcept {
    const BlockedSignals blocked;
    const Child child{plan, rangesAround(plan.keptDescriptors), nullptr, blocked.before()};
    const pid_t pid = ::fork();
    if (pid == 0) {
        setUp(child);
    }
    return pid;
}

}  // namespace vorn::common::internal
