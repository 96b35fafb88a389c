#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include <vorn/common/executable/Executable.h>

#include "internal/assert.h"
#include "posix/readToEnd.h"

namespace vorn::common::executable {
namespace {

constexpr int kLowestEnd = 3;

void closeEnd(int& end) {
    if (end != -1) {
        ::close(end);
        end = -1;
    }
}

bool moveUp(int& end) {
    if (end >= kLowestEnd) {
        return true;
    }
    const int moved = ::fcntl(end, F_DUPFD_CLOEXEC, kLowestEnd);
    closeEnd(end);
    end = moved;
    return moved != -1;
}

bool openPipe(int (&ends)[2]) {
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        std::fill(std::begin(ends), std::end(ends), -1);
        return false;
    }
    const bool readMoved = moveUp(ends[0]);
    return moveUp(ends[1]) && readMoved;
}

}  // namespace

Executable::Pipes::Pipes() {
    const bool outOpened = openPipe(out);
    const bool errOpened = openPipe(err);
    if (!outOpened || !errOpened) {
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
    closeEnd(out[which]);
    closeEnd(err[which]);
}

void Executable::Pipes::closeWriting() {
    close(1);
}

int Executable::Pipes::dupWriting(int outFd, int errFd) {
    ::dup2(out[1], outFd);
    return ::dup2(err[1], errFd);
}

bool Executable::Pipes::isOpened(int fd) const {
    return fd == out[0] || fd == out[1] || fd == err[0] || fd == err[1];
}

std::string Executable::Pipes::readFromStdOut() const {
    return internal::readToEnd(out[0]);
}

std::string Executable::Pipes::readFromStdErr() const {
    return internal::readToEnd(err[0]);
}

}  // namespace vorn::common::executable
