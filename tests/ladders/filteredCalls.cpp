// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include "helpers/wait_until.h"
#include "ladders/Calls.h"

namespace ladders {
namespace {

/// What follows the number of a call that goes to the listener. Not so fcntl(fd, F_GETFD), which
/// cannot fail: whoever counts descriptors asks for each of 256, and on an emulated machine each
/// question that goes through the listener takes a millisecond.
std::vector<sock_filter> sendToListener(const CallErrors& entry) {
    const sock_filter send = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF);
    if (std::find(entry.numbers.begin(), entry.numbers.end(), SYS_fcntl) == entry.numbers.end()) {
        return {send};
    }
    return {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),  // little-endian
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, F_GETFD, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW), send};
}

/// Sends the calls of the table to a listener; the calling thread, and all that it creates.
int installFilter() {
    std::vector<sock_filter> program{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const auto& entry : callErrors()) {
        const auto send = sendToListener(entry);
        for (const long number : entry.numbers) {
            program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(number), 0,
                                       static_cast<std::uint8_t>(send.size())));
            program.insert(program.end(), send.begin(), send.end());
        }
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (::geteuid() != 0) {
        ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    }
    // A call that waits for the listener is not interrupted by signals, so that it counts once.
    constexpr unsigned kWaitKillable = 1U << 5;
    for (const unsigned more : {kWaitKillable, 0U}) {
        const auto listener = ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER,
                                        SECCOMP_FILTER_FLAG_NEW_LISTENER | more, &filter);
        if (listener >= 0) {
            return static_cast<int>(listener);
        }
    }
    return -1;
}

int indexOf(long number) {
    const auto& table = callErrors();
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (std::find(table[i].numbers.begin(), table[i].numbers.end(), number) !=
            table[i].numbers.end()) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

/// The bytes of a time in a call that sleeps; 0 for other calls.
std::size_t sizeOfSleep(long number) {
#ifdef SYS_clock_nanosleep_time64
    if (number == SYS_clock_nanosleep_time64) {
        return 2 * sizeof(std::int64_t);
    }
#endif
    return number == SYS_clock_nanosleep ? 2 * sizeof(long) : 0;
}

/// Tells a sleep that is interrupted before it begins what is left of it, as the kernel does: all.
/// A C library of 32 bits copies that from a place of its own, which holds anything until then.
void leaveWholeSleep(const seccomp_notif& request) {
    const std::size_t size = sizeOfSleep(request.data.nr);
    const auto& arguments = request.data.args;  // clock, flags, time, what is left
    const auto place = [](std::uint64_t address) {
        return reinterpret_cast<void*>(static_cast<std::uintptr_t>(address));
    };
    if (size == 0 || arguments[1] != 0 || arguments[3] == 0) {
        return;  // no sleep, or until an instant
    }
    std::array<std::int64_t, 2> time{};
    const iovec local{time.data(), size};
    const iovec asked{place(arguments[2]), size};
    const iovec left{place(arguments[3]), size};
    const auto thread = static_cast<pid_t>(request.pid);
    if (::process_vm_readv(thread, &local, 1, &asked, 1, 0) == static_cast<ssize_t>(size)) {
        static_cast<void>(::process_vm_writev(thread, &local, 1, &left, 1, 0));
    }
}

/// A thread without the filter decides about the calls of all others.
class FilteredCalls : public CallFault {
  public:
    explicit FilteredCalls(State& state) : CallFault(state) {
        std::thread([this] { listen(); }).detach();
        listener_ = installFilter();
        published_ = listener_;
    }

    [[nodiscard]] bool works() const { return listener_ >= 0; }

  private:
    static constexpr int kUnknown = -2;

    void listen() {
        static_cast<void>(helpers::waitUntil([this] { return published_ != kUnknown; }));
        for (;;) {
            seccomp_notif request{};
            if (::ioctl(published_, SECCOMP_IOCTL_NOTIF_RECV, &request) != 0) {
                if (errno == EINTR || errno == ENOENT) {
                    continue;
                }
                return;
            }
            seccomp_notif_resp response{};
            response.id = request.id;
            response.error = -decide(static_cast<pid_t>(request.pid), request.data.nr);
            if (response.error == -EINTR) {
                leaveWholeSleep(request);
            }
            response.flags = response.error == 0 ? SECCOMP_USER_NOTIF_FLAG_CONTINUE : 0;
            ::ioctl(published_, SECCOMP_IOCTL_NOTIF_SEND, &response);
        }
    }

    /// The errno for a call, or 0. Programs that children execute are not the library's any more.
    int decide(pid_t thread, long number) {
        if (!state_.active) {
            return 0;
        }
        if (state_.calls == 0) {
            strangers_.clear();
        }
        if (std::find(strangers_.begin(), strangers_.end(), thread) != strangers_.end()) {
            return 0;
        }
        const int error = errorNow(state_, indexOf(number));
        if (number == SYS_execve && error == 0) {
            strangers_.push_back(thread);
        }
        return error;
    }

    int listener_ = -1;
    std::atomic<int> published_{kUnknown};
    std::vector<pid_t> strangers_;
};

}  // namespace

CallFault* CallFault::bySeccomp(State& state) {
    auto* const calls = new FilteredCalls(state);
    return calls->works() ? calls : nullptr;
}

}  // namespace ladders
