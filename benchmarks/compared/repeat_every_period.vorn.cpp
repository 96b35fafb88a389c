// SPDX-License-Identifier: MIT
// Guarantees: the average rate is exact: each deadline is the one before plus the period; missed
// periods are caught up, one call each; the wall clock has no influence; no callback runs when the
// destructor returns. A thread is started with each timer.
#include <semaphore>

#include <vorn/common/time/Timer.h>

#include "tasks.h"

std::string compared::vorn::repeatEveryPeriod(const std::string& calls) {
    std::counting_semaphore called(0);
    ::vorn::common::time::Timer timer([&] { called.release(); }, std::chrono::milliseconds(1));
    timer.start();
    for (int missing = std::stoi(calls); missing > 0; --missing) {
        called.acquire();
    }
    return calls;
}
