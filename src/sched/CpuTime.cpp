// SPDX-License-Identifier: MIT
#include "vorn/common/sched/CpuTime.h"

#include <unistd.h>

#include "sched/CpuTimeReader.h"

namespace vorn::common::sched {

std::int64_t getProcessCpuTimeUs() noexcept {
    // Needs no guard variable, and can be asked before and after main.
    static constinit internal::CpuTimeReader reader(&::times,
                                                    [] { return ::sysconf(_SC_CLK_TCK); });
    return reader.read();
}

}  // namespace vorn::common::sched
