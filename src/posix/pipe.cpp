// SPDX-License-Identifier: MIT
#include "posix/pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

namespace vorn::common::internal {
namespace {

/// A service without standard streams gets their numbers for its next files. The child makes an end
/// its standard output before it looks at the other ones, which must not be 1 or 2 by then.
constexpr int kLowestEnd = 3;

bool moveUp(int& end) noexcept {
    if (end >= kLowestEnd) {
        return true;
    }
    const int moved = ::fcntl(end, F_DUPFD_CLOEXEC, kLowestEnd);
    closeEnd(end);
    end = moved;
    return moved != -1;
}

}  // namespace

bool openPipe(int (&ends)[2]) noexcept {
    // Close-on-exec from the start: a child of another thread, started in between, would hold the
    // write end, and the output would not end before it does.
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        std::fill(std::begin(ends), std::end(ends), -1);
        return false;
    }
    const bool readMoved = moveUp(ends[0]);
    return moveUp(ends[1]) && readMoved;
}

void closeEnd(int& end) noexcept {
    if (end != -1) {
        ::close(end);
        end = -1;
    }
}

int duplicateOnto(int source, int target) noexcept {
    return ::dup2(source, target);
}

}  // namespace vorn::common::internal
