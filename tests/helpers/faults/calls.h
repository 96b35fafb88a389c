// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "helpers/faults/reach.h"

/// The test program's own definitions of C library calls take the place of the C library's, for the
/// library under test too, shared or static. See "How to make the system fail" in CONTRIBUTING.md.
namespace faults {

/// The calls that can be watched; with the 64-bit forms of those that have one.
// A table, which the formatter takes for an expression.
// clang-format off
#define VORN_FAULTS_CALLS(CALL)                                                                  \
    /* files */                                                                                  \
    CALL(open) CALL(openat) CALL(mkostemp) CALL(mkdtemp) CALL(mkdir) CALL(read) CALL(write)      \
    CALL(writev) CALL(fsync) CALL(fdatasync) CALL(ftruncate) CALL(lseek) CALL(fstat)             \
    CALL(fchmod) CALL(fchown) CALL(rename) CALL(renameat2) CALL(unlink) CALL(rmdir)              \
    CALL(close) CALL(fcntl) CALL(flock) CALL(dup2) CALL(pipe2) CALL(poll)                        \
    /* processes and threads */                                                                  \
    CALL(fork) CALL(clone) CALL(execve) CALL(waitid) CALL(waitpid) CALL(kill) CALL(dlopen)       \
    CALL(pthread_create) CALL(pthread_self) CALL(pthread_rwlock_rdlock)                          \
    CALL(pthread_rwlock_tryrdlock) CALL(pthread_rwlock_wrlock) CALL(pthread_rwlock_trywrlock)    \
    CALL(sched_yield)                                                                            \
    /* clocks */                                                                                 \
    CALL(times) CALL(nanosleep)                                                                  \
    /* what is called by its number */                                                           \
    CALL(syscall)
// clang-format on

#define VORN_FAULTS_ENUMERATOR(name) name,
enum class Call { VORN_FAULTS_CALLS(VORN_FAULTS_ENUMERATOR) };
#undef VORN_FAULTS_ENUMERATOR

#define VORN_FAULTS_ONE(name) +1
inline constexpr std::size_t kCalls = 0 VORN_FAULTS_CALLS(VORN_FAULTS_ONE);
#undef VORN_FAULTS_ONE

[[nodiscard]] const char* nameOf(Call call);
inline std::ostream& operator<<(std::ostream& out, Call call) {
    return out << nameOf(call);
}

/// One call on its way to the system. A hook may lower `size` of read and write, or give the answer
/// itself.
struct Invocation {
    Call call{};
    int ordinal = 0;               ///< which call of this kind it is, from 1
    const char* path = nullptr;    ///< of open, mkdir, unlink, dlopen, ...; of rename the old one
    const char* target = nullptr;  ///< of rename and renameat2: the new path
    long id = -1;                  ///< the descriptor or process; of syscall: its number
    std::size_t size = 0;          ///< how many bytes read, write, ftruncate or lseek is to handle
    long flags = 0;     ///< of open, mkostemp, renameat2, flock, pipe2, waitid; the signal of kill
    unsigned mode = 0;  ///< the permissions of open, mkdir and fchmod
    void* data = nullptr;  ///< of write: the bytes; of times: the tms; of nanosleep: the time
    std::optional<long> answer{};  ///< when set, the call is not made and returns this
};

/// Watches calls for as long as it lives: counts them, and lets those of one's choice fail.
///
///     faults::Calls calls;
///     calls.fail(Call::write, ENOSPC, 2);          // the second write, once
///     calls.fail(Call::renameat2, EINVAL);         // every one
///     calls.hook(Call::read, [](auto& read) { read.size = 1; return 0; });
///     ...
///     EXPECT_EQ(calls.count(Call::fsync), 1);
///
/// A call that fails is not made. Several objects work together; the newest is asked first, and
/// those of a thread before those of all threads. In one object hooks come before failures.
///
/// Rules and hooks are set before the calls come. They apply in a forked child as well, on copies.
class Calls {
  public:
    /// Returns 0 for a call to be made, otherwise the errno with which it fails. Calls that the
    /// hook makes itself pass by.
    using Hook = std::function<int(Invocation&)>;

    static constexpr int kLast = std::numeric_limits<int>::max();

    explicit Calls(Threads threads = Threads::This);
    /// Waits for calls of other threads that are looking at it.
    ~Calls();
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;

    /// An error of 0 changes nothing.
    Calls& fail(Call call, int error) { return fail(call, error, 1, kLast); }
    Calls& fail(Call call, int error, int only) { return fail(call, error, only, only); }
    /// From the `first` to the `last` call of that kind, counted from here.
    Calls& fail(Call call, int error, int first, int last);

    Calls& hook(Call call, Hook hook);
    /// For every call.
    Calls& hook(Hook hook);

    [[nodiscard]] int count(Call call) const;

    /// The calls of these kinds in their order (of the first 4096 of all kinds).
    [[nodiscard]] std::vector<Call> order(std::initializer_list<Call> kinds) const;

    /// Asks this object and those after it; 0 or an errno.
    int ask(Invocation& invocation);

  private:
    struct Rule {
        Call call;
        int error;
        int first;
        int last;
    };

    const Threads threads_;
    Calls* outer_ = nullptr;
    std::vector<Rule> rules_;
    std::vector<std::pair<int, Hook>> hooks_;  // by the call's number, or kEvery
    std::array<std::atomic<int>, kCalls> counts_{};
    std::array<std::atomic<unsigned char>, 4096> order_{};
    std::atomic<std::size_t> recorded_{0};
};

/// A hook for interruptions: of every two calls the first one fails with EINTR.
inline int interruptEveryOther(const Invocation& invocation) {
    return invocation.ordinal % 2 == 1 ? EINTR : 0;
}

/// From now on no call of this thread fails, counts or reaches a hook. For a child that ends.
void leaveThisThreadAlone();

}  // namespace faults
