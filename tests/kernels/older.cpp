// SPDX-License-Identifier: MIT
// older ENOSYS|EPERM PROGRAM [ARGUMENT...]: runs a program as if on a kernel before 5.1, or behind
// a filter that does not know the calls that came later.
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "helpers/refusedCalls.h"

int main(int argc, char** argv) {
    if (argc < 3 || (std::strcmp(argv[1], "ENOSYS") != 0 && std::strcmp(argv[1], "EPERM") != 0)) {
        std::fputs("usage: older ENOSYS|EPERM PROGRAM [ARGUMENT...]\n", stderr);
        return 2;
    }
    const int error = std::strcmp(argv[1], "ENOSYS") == 0 ? ENOSYS : EPERM;
    constexpr long kPidfdSendSignal = 424;
    constexpr long kPidfdOpen = 434;
    constexpr long kClone3 = 435;
    constexpr long kCloseRange = 436;
    for (const long number : {kPidfdSendSignal, kPidfdOpen, kClone3, kCloseRange,
                              long{SYS_renameat2}, long{SYS_statx}}) {
        if (!helpers::refuse({number, error})) {
            std::perror("older: the system filters no calls");
            return 77;
        }
    }
    ::execv(argv[2], argv + 2);
    std::perror(argv[2]);
    return 127;
}
