// SPDX-License-Identifier: MIT

// Writes settings that other threads read without a pause: the writer gets its turn all the same.

#include <atomic>
#include <iostream>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include <vorn/common/locking/MultipleReadUniqueWriteMutex.h>

int main() {
    vorn::common::locking::MultipleReadUniqueWriteMutex mutex;
    int limit = 0;
    std::atomic<bool> done = false;
    const auto read = [&] {
        while (!done) {
            const std::shared_lock reading(mutex);
            if (limit == 10) {
                done = true;
            }
        }
    };
    std::thread first(read);
    std::thread second(read);
    for (int i = 0; i < 10; ++i) {
        const std::unique_lock writing(mutex);
        ++limit;
    }
    first.join();
    second.join();
    std::cout << "the readers have seen the limit of " << limit << "\n";
}
