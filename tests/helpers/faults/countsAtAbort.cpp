// SPDX-License-Identifier: MIT
#ifdef VORN_GW_COMMON_COVERAGE

#include <signal.h>

extern "C" {
#include <gcov.h>
}

namespace {

// What a death test executes counts too.
[[gnu::constructor]] void writeCountsAtAbort() {
    ::signal(SIGABRT, [](int) { __gcov_dump(); });
}

}  // namespace

#endif
