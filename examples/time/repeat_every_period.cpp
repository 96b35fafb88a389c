// SPDX-License-Identifier: MIT

// Sends three heartbeats, 20 ms apart, then doubles the rate for two more.

#include <iostream>
#include <semaphore>

#include <vorn/common/time/Timer.h>

using namespace std::chrono_literals;

int main() {
    std::counting_semaphore<> beats(0);
    vorn::common::time::Timer heartbeat([&] { beats.release(); }, 20ms);
    heartbeat.start();
    for (int i = 1; i <= 3; ++i) {
        beats.acquire();
        std::cout << "beat " << i << "\n";
    }
    {
        std::unique_lock lock(heartbeat.mutex());
        heartbeat.setPeriod(10ms, lock);
        heartbeat.reload(lock);
    }
    for (int i = 4; i <= 5; ++i) {
        beats.acquire();
        std::cout << "beat " << i << "\n";
    }
    // After terminate() no callback runs any more.
    heartbeat.terminate();
}
