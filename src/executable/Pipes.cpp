// SPDX-License-Identifier: MIT
#include "posix/pipe.h"

#include <stdexcept>

#include <vorn/common/executable/Executable.h>

#include "internal/assert.h"
#include "posix/readToEnd.h"

namespace vorn::common::executable {

Executable::Pipes::Pipes() {
    const bool outOpened = internal::openPipe(out);
    const bool errOpened = internal::openPipe(err);
    if (!outOpened || !errOpened) {
        // No destructor follows a constructor that throws.
        close(0);
        close(1);
        throw std::runtime_error("failed to open pipe");
    }
}

Executable::Pipes::~Pipes() {
    close(0);
    close(1);
}

void Executable::Pipes::close(unsigned which) {
    VORN_ASSERT(which < 2);
    internal::closeEnd(out[which]);
    internal::closeEnd(err[which]);
}

void Executable::Pipes::closeWriting() {
    close(1);
}

int Executable::Pipes::dupWriting(int outFd, int errFd) {
    static_cast<void>(internal::duplicateOnto(out[1], outFd));
    return internal::duplicateOnto(err[1], errFd);
}

bool Executable::Pipes::isOpened(int fd) const noexcept {
    return fd == out[0] || fd == out[1] || fd == err[0] || fd == err[1];
}

std::string Executable::Pipes::readFromStdOut() const {
    return internal::readToEnd(out[0]);
}

std::string Executable::Pipes::readFromStdErr() const {
    return internal::readToEnd(err[0]);
}

}  // namespace vorn::common::executable
