// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "helpers/faults/calls.h"

namespace files {

/// An open that network file systems know: it creates the file and is interrupted all the same.
/// Only the one with that ordinal, if it creates a file of its own.
inline void interruptAfterCreation(faults::Calls& calls, int only = 1) {
    calls.hook(faults::Call::open, [only](auto& call) {
        if (call.ordinal != only || (call.flags & O_EXCL) == 0) {
            return 0;
        }
        ::close(::open(call.path, static_cast<int>(call.flags), call.mode));
        return EINTR;
    });
}

}  // namespace files
