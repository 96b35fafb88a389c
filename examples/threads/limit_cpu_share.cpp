// Works for a while with a quarter of one core, resting at most 50 ms at a time.

#include <vorn/common/sched/Cooldown.h>

#include <chrono>
#include <iostream>

using namespace std::chrono_literals;
namespace sched = vorn::common::sched;

namespace {

void index(sched::Cooldown& cooldown) {
    const auto end = std::chrono::steady_clock::now() + 500ms;
    while (std::chrono::steady_clock::now() < end) {
        for (volatile int work = 0; work < 100000; work = work + 1) {
        }
        cooldown.cooldown();
    }
}

}  // namespace

int main() {
    const auto before = sched::getProcessCpuTimeUs();
    sched::CpuLoadCooldown cooldown(25, 50);
    index(cooldown);
    std::cout << "half a second of work cost " << (sched::getProcessCpuTimeUs() - before) / 1000
              << " ms of CPU time\n";

    // The same for a loop that must come round every 100 ms.
    sched::CpuLoadLoopCooldown loop(25, 100ms);
    index(loop);
}
