// SPDX-License-Identifier: MIT

// Tells when a report every quarter of an hour comes next, and runs one every 50 ms for real.

#include <iostream>
#include <semaphore>

#include <vorn/common/time/ClockAlignedTimer.h>

using namespace std::chrono_literals;
using vorn::common::time::ClockAlignedTimer;

int main() {
    const ClockAlignedTimer quarterly({}, 15min);
    {
        std::unique_lock lock(quarterly.mutex());
        const ClockAlignedTimer::TimePoint tenPastTen(10h + 10min);
        const auto next = quarterly.getNextTimePoint(tenPastTen, lock) - tenPastTen;
        std::cout << "after 10:10 the next report comes in " << next / 1min << " minutes\n";
    }

    std::counting_semaphore<> reports(0);
    ClockAlignedTimer timer(
        [&](ClockAlignedTimer::TimePoint boundary) {
            if (boundary.time_since_epoch() % 50ms == 0ns) {
                reports.release();
            }
        },
        50ms);
    timer.start();
    for (int i = 0; i < 3; ++i) {
        reports.acquire();
    }
    std::cout << "three reports, each on a boundary\n";
}
