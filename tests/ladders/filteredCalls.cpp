// SPDX-License-Identifier: MIT
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <thread>

#include "helpers/wait_until.h"
#include "ladders/Calls.h"

namespace ladders {
namespace {

/// Sends the calls of the table to a listener; the calling thread, and all that it creates.
int installFilter() {
    std::vector<sock_filter> program{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const auto& entry : callErrors()) {
        for (const long number : entry.numbers) {
            program.push_back(
                BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(number), 0, 1));
            program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
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
