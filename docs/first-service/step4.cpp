// Reports three times, whenever the clock shows a full second.
#include <sys/eventfd.h>

#include <vorn/common/time/ClockAlignedTimer.h>

#include "start.h"

int main() {
    const int wakeUp = ::eventfd(0, EFD_CLOEXEC);
    vorn::common::time::ClockAlignedTimer timer([&](auto) { ::eventfd_write(wakeUp, 1); },
                                                std::chrono::seconds(1));
    timer.start();
    for (int i = 0; i < 3; ++i) {
        eventfd_t reports = 0;
        ::eventfd_read(wakeUp, &reports);
        log("report");
    }
}
