// SPDX-License-Identifier: MIT

// Shares work among a pool's threads and waits until all of it is done.

#include <atomic>
#include <iostream>

#include <vorn/common/ThreadPool.h>

int main() {
    std::atomic<int> sum = 0;
    vorn::common::ThreadPool pool(3);
    for (int number = 1; number <= 100; ++number) {
        pool._emplaceTask([&sum, number] { sum += number; });
    }

    std::unique_lock lock(pool.mutex());
    pool.stateChanged().wait(lock, [&] { return pool._isIdle(lock); });
    std::cout << "the numbers from 1 to 100 add up to " << sum << "\n";
}
