// SPDX-License-Identifier: MIT
#include "helpers/leave.h"

#include <unistd.h>

#ifdef VORN_GW_COMMON_COVERAGE
#include <signal.h>

extern "C" {
#include <gcov.h>
}

#include "helpers/faults/calls.h"

namespace {

void writeCounts() {
    // Counts are added to a file's: a call that fails now would lose what is there.
    faults::leaveThisThreadAlone();
    __gcov_dump();
}

// What a death test executes counts too.
[[gnu::constructor]] void writeCountsAtAbort() {
    ::signal(SIGABRT, [](int) { writeCounts(); });
}

}  // namespace
#endif

namespace helpers {

void leave(int code) {
#ifdef VORN_GW_COMMON_COVERAGE
    writeCounts();
#endif
    ::_exit(code);
}

}  // namespace helpers
