// SPDX-License-Identifier: MIT
#pragma once

#include <sys/times.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <utility>
#include <vector>

#include "helpers/faults/calls.h"

namespace faults {

/// While it lives this thread's CPU time stands still but for advance(), and its sleeps are only
/// written down.
class CpuClock {
  public:
    CpuClock() {
        calls_.hook(Call::times, [this](Invocation& call) {
            tms used{};
            used.tms_utime = static_cast<clock_t>(time_.count() * ::sysconf(_SC_CLK_TCK) / 1000);
            *static_cast<tms*>(call.data) = used;
            call.answer = 1;
            return 0;
        });
        calls_.hook(Call::nanosleep, [this](Invocation& call) {
            const auto* const request = static_cast<const timespec*>(call.data);
            sleeps_.push_back(std::chrono::seconds(request->tv_sec) +
                              std::chrono::nanoseconds(request->tv_nsec));
            call.answer = 0;
            return 0;
        });
    }

    void advance(std::chrono::milliseconds duration) { time_ += duration; }

    /// The sleeps since the last call.
    [[nodiscard]] std::vector<std::chrono::nanoseconds> takeSleeps() {
        return std::exchange(sleeps_, {});
    }

  private:
    std::chrono::milliseconds time_ = std::chrono::seconds(1);
    std::vector<std::chrono::nanoseconds> sleeps_;
    Calls calls_;
};

}  // namespace faults
