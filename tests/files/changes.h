// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>
#include <unistd.h>

#include "helpers/faults/calls.h"

namespace files {

/// Whether a call changes what a later start finds on the disk.
inline bool changesFiles(faults::Call call) {
    using faults::Call;
    return call == Call::rename || call == Call::renameat2 || call == Call::write ||
           call == Call::fdatasync || call == Call::unlink;
}

/// Lets the process die before the n-th call that changes files (0: never).
inline void killBeforeChange(faults::Calls& calls, int number) {
    calls.hook([number, changes = 0](const faults::Invocation& call) mutable {
        if (changesFiles(call.call) && ++changes == number) {
            ::kill(::getpid(), SIGKILL);
        }
        return 0;
    });
}

}  // namespace files
