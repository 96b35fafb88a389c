// SPDX-License-Identifier: MIT
#include "posix/startChild.h"

#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "posix/BlockedSignals.h"
#include "posix/ExecImage.h"

// clone under the name that sanitizers do not intercept: they would take the child for a forked one
// and release their own locks twice, in memory that it shares with the parent.
extern "C" int plainClone(int (*)(void*), void* stackTop, int flags, void* argument, ...) noexcept
    __asm__("__clone");

#ifndef CLONE_PIDFD
#define CLONE_PIDFD 0x1000
#endif

namespace vorn::common::internal {
namespace {

constexpr int kFirstClosed = 3;
constexpr int kLastClosed = 4095;

/// The child's stack, in memory of its own: the caller may run on a thread with the smallest stack
/// there is. Lives until the child has left it, i.e. until clone returns.
class ChildStack {
  public:
    ChildStack() noexcept
        : guard_(static_cast<std::size_t>(::sysconf(_SC_PAGESIZE))),
          memory_(::mmap(nullptr, guard_ + kSize, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0)) {
        if (*this) {
            // An overrun ends the child instead of writing to a neighbour in the parent's memory.
            // Without the guard, which may need a mapping too many, the size is as sufficient.
            static_cast<void>(::mprotect(memory_, guard_, PROT_NONE));
        }
    }
    ~ChildStack() {
        if (*this) {
            ::munmap(memory_, guard_ + kSize);
        }
    }
    ChildStack(const ChildStack&) = delete;
    ChildStack& operator=(const ChildStack&) = delete;

    [[nodiscard]] explicit operator bool() const noexcept { return memory_ != MAP_FAILED; }
    /// Stacks grow downwards on every architecture that the library is built for.
    [[nodiscard]] void* top() const noexcept {
        return static_cast<char*>(memory_) + guard_ + kSize;
    }

  private:
    static constexpr std::size_t kSize = std::size_t{16} * 1024;

    const std::size_t guard_;
    void* const memory_;
};

ClosedRanges rangesAround(std::array<int, 4> kept) {
    // The gaps between what is kept, so that a few calls close all of the 4,093 descriptors.
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

Child startChild(const ChildPlan& plan, const ExecImage& image) noexcept {
    constexpr int kFlags = CLONE_VM | CLONE_VFORK | SIGCHLD;
    const ChildStack stack;
    if (!stack) {
        return Child();
    }
    // A handler of the parent's that ran in the child would change the parent's memory.
    const BlockedSignals blocked;
    ChildOrders orders{plan,
                       rangesAround(plan.keptDescriptors),
                       &blocked.before(),
                       image.path(),
                       image.argv(),
                       image.envp()};
    // The child shares the thread's errno, too.
    const int errorBefore = errno;
    int process = -1;
    pid_t id = plainClone(runChild, stack.top(), kFlags | CLONE_PIDFD, &orders, &process);
    if (id == -1 && errno != EAGAIN) {
        // No descriptor to spare, or none to be had: kernels before 5.2 ignore the flag, emulators
        // and filters refuse it. EAGAIN is the limit of processes, which it has no part in.
        id = plainClone(runChild, stack.top(), kFlags, &orders);
    }
    if (id == -1) {
        return Child();
    }
    errno = errorBefore;
    return Child(id, Descriptor(process));
}

pid_t forkChild(const ChildPlan& plan) noexcept {
    const BlockedSignals blocked;
    const ChildOrders orders{.plan = plan,
                             .closed = rangesAround(plan.keptDescriptors),
                             .mask = nullptr,
                             .path = nullptr,
                             .argv = nullptr,
                             .envp = nullptr};
    const pid_t pid = ::fork();
    if (pid == 0) {
        setUpChild(orders);
    }
    return pid;
}

}  // namespace vorn::common::internal
