// SPDX-License-Identifier: MIT

// Runs something once, at an instant of the wall clock one second ahead.

#include <iostream>
#include <semaphore>

#include <vorn/common/time/Timer.h>
#include <vorn/common/time/UnixTime.h>

using namespace std::chrono_literals;
using vorn::common::time::Recurrence;
using vorn::common::time::SecondsDuration;
using vorn::common::time::Timer;
using vorn::common::time::UnixTime;

int main() {
    std::binary_semaphore rung(0);
    Timer alarm([&] { rung.release(); }, 1s, Recurrence::OneShot);
    auto when = UnixTime::now();
    when += SecondsDuration(1);
    alarm.scheduleAt(when);
    rung.acquire();
    std::cout << "it is time\n";
}
