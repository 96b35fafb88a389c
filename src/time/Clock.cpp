// SPDX-License-Identifier: MIT
#include "time/Clock.h"

#include <algorithm>

#include "posix/ExactWakeUp.h"
#include "posix/wallClock.h"

namespace vorn::common::internal {
namespace {

class OperatingSystemClock final : public Clock {
  public:
    std::chrono::steady_clock::time_point steadyNow() override {
        return std::chrono::steady_clock::now();
    }

    std::chrono::system_clock::time_point systemNow() override { return wallClockNow(); }

    void waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                   std::chrono::steady_clock::time_point deadline) override {
        // The C library refuses an instant before the clock's beginning, the mutex still held: a
        // timer whose deadlines lie there would never let anybody else have it.
        const auto representable = std::max(deadline, std::chrono::steady_clock::time_point());
        const ExactWakeUp punctual;
        changed.wait_until(lock, representable);
    }
};

constinit OperatingSystemClock instance;

}  // namespace

Clock& operatingSystemClock() noexcept {
    return instance;
}

}  // namespace vorn::common::internal
