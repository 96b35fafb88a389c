// SPDX-License-Identifier: MIT
#pragma once

#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vorn::common::internal {

/// While it lives the kernel wakes the calling thread at the end of a wait, not up to 50
/// microseconds later together with others. To end before foreign code runs: threads and programs
/// that are started meanwhile inherit it.
class ExactWakeUp {
  public:
    // The wrapper's int would cut what is longer than two seconds.
    ExactWakeUp() noexcept : before_(::syscall(SYS_prctl, PR_GET_TIMERSLACK)) { set(kShortest); }
    ~ExactWakeUp() {
        // 0, when it could not be read, stands for the thread's default.
        set(before_ != -1 ? static_cast<unsigned long>(before_) : 0);
    }
    ExactWakeUp(const ExactWakeUp&) = delete;
    ExactWakeUp& operator=(const ExactWakeUp&) = delete;

  private:
    static constexpr unsigned long kShortest = 1;  // nanosecond

    /// A refusal is of no consequence: the wait then takes its usual slack.
    static void set(unsigned long nanoseconds) noexcept {
        static_cast<void>(::prctl(PR_SET_TIMERSLACK, nanoseconds));
    }

    long before_;
};

}  // namespace vorn::common::internal
