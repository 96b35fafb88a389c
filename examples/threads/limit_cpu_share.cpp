// SPDX-License-Identifier: MIT

// Works for a while with a quarter of one core, resting at most 50 ms at a time.

#include <chrono>
#include <iostream>

#include <vorn/common/sched/Cooldown.h>

using namespace std::chrono_literals;
namespace sched = vorn::common::sched;

namespace {

/// Works for half a second and returns a checksum of the work.
unsigned int index(sched::Cooldown& cooldown) {
    const auto end = std::chrono::steady_clock::now() + 500ms;
    unsigned int checksum = 0;
    while (std::chrono::steady_clock::now() < end) {
        for (unsigned int word = 0; word < 100000; ++word) {
            checksum = checksum * 31 + word;
        }
        cooldown.cooldown();
    }
    return checksum;
}

}  // namespace

int main() {
    const auto before = sched::getProcessCpuTimeUs();
    sched::CpuLoadCooldown cooldown(25, 50);
    std::cout << "checksum " << index(cooldown) << "\n";
    std::cout << "half a second of work cost " << (sched::getProcessCpuTimeUs() - before) / 1000
              << " ms of CPU time\n";

    // The same for a loop that must come round every 100 ms.
    sched::CpuLoadLoopCooldown loop(25, 100ms);
    std::cout << "checksum " << index(loop) << "\n";
}
