// SPDX-License-Identifier: MIT

// Instants as text, a deadline that is moved, and a wait that ends at it.
#include <chrono>
#include <condition_variable>
#include <iostream>
#include <mutex>

#include <vorn/common/time/SecondsDuration.h>
#include <vorn/common/time/UnixTime.h>
#include <vorn/common/time/now.h>

using vorn::common::SecondsDuration;
using vorn::common::UnixTime;

int main() {
    UnixTime deadline;
    if (!deadline.parseIso8601("2023-11-14T23:13:20.25+01:00")) {
        return 1;
    }
    std::cout << deadline << "\n";
    deadline += SecondsDuration(90);
    std::cout << deadline.toIso8601() << "\n" << deadline.trunc().toIso8601() << "\n";
    deadline += SecondsDuration::INFINITE;
    std::cout << deadline.toIso8601() << ", " << UnixTime().toIso8601() << "\n";
    std::cout << SecondsDuration(30) << ", " << SecondsDuration::INFINITE << "\n";

    const auto begin = vorn::common::time::now();
    std::mutex mutex;
    std::condition_variable stopped;
    std::unique_lock lock(mutex);
    stopped.wait_until(lock, SecondsDuration(1).toTimepoint(std::chrono::steady_clock::now()),
                       [] { return false; });
    std::cout << "waited: " << (vorn::common::time::now() > begin) << "\n";
}
