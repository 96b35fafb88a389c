// SPDX-License-Identifier: MIT
#include "time/Clock.h"

#include "posix/ExactWakeUp.h"

namespace vorn::common::internal {
namespace {

class OperatingSystemClock final : public Clock {
  public:
    std::chrono::steady_clock::time_point steadyNow() override {
        return std::chrono::steady_clock::now();
    }

    std::chrono::system_clock::time_point systemNow() override {
        return std::chrono::system_clock::now();
    }

    void waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                   std::chrono::steady_clock::time_point deadline) override {
        const ExactWakeUp punctual;
        changed.wait_until(lock, deadline);
    }
};

constinit OperatingSystemClock instance;

}  // namespace

Clock& operatingSystemClock() noexcept {
    return instance;
}

}  // namespace vorn::common::internal
