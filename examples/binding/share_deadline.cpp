// SPDX-License-Identifier: MIT

// Two services whose clocks differ agree on a deadline through the time base of the server.

#include <iostream>

#include <vorn/common/Binder.h>
#include <vorn/common/time/now.h>

using namespace vorn::common;

namespace {

/// Knows by how much the server's clock is ahead, as a transport learns it when it binds.
class SharedClock : public Binder {
  public:
    explicit SharedClock(unsigned ahead) : ahead_(ahead) {}
    unsigned syncTime() const override { return static_cast<unsigned>(time::now()) + ahead_; }

  private:
    unsigned ahead_;
};

}  // namespace

int main() {
    const SharedClock binder(5000);
    const unsigned deadline = binder.getDelayedTimestamp(time::SecondsDuration(3600));
    const auto left = binder.getDurationUntil(deadline);
    std::cout << "about an hour is left: " << (left.count() > 3500 && left.count() <= 3600) << "\n";

    const unsigned local = binder.fromSyncTimeBase(deadline);
    std::cout << "the server's clock is ahead by about " << deadline - local << " s\n";

    std::cout << "no deadline: " << binder.getDurationUntil(0xFFFFFFFF) << "\n";
}
