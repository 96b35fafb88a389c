// SPDX-License-Identifier: MIT
#include "posix/lockFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "posix/openFile.h"
#include "posix/sleep.h"

namespace vorn::common::internal {
namespace {

using std::chrono::nanoseconds;
using Clock = std::chrono::steady_clock;

// Marks a lock file between its release and its removal; no creation sets it, whatever the umask.
constexpr mode_t kReleased = S_ISVTX;

// The times of files advance with the timer's ticks, which a busy machine, a virtual one above all,
// may have late by hundreds of milliseconds. An own file that seems too old would be nobody's and
// keep everybody out; to take what a process left that died within this time does no harm.
constexpr std::chrono::seconds kFileTimeLag(1);

nanoseconds modificationTime(const struct stat& status) noexcept {
    return std::chrono::seconds(status.st_mtim.tv_sec) + nanoseconds(status.st_mtim.tv_nsec);
}

// Whether the file was made after `start`, by the clock of its own file system, which need not be
// this machine's. The times are put back: what has been looked at must not seem young to the next
// attempt.
bool isYoungerThan(int fd, const struct stat& status, Clock::time_point start) noexcept {
    struct stat touched {};
    const bool known = ::futimens(fd, nullptr) == 0 && ::fstat(fd, &touched) == 0;
    // After the file was touched: a pause in between must not make an own file too old, which would
    // be nobody's then.
    const auto age = Clock::now() - start;
    const struct timespec before[] = {status.st_atim, status.st_mtim};
    return ::futimens(fd, before) == 0 && known &&
           modificationTime(touched) - modificationTime(status) <= age + kFileTimeLag;
}

bool isNamed(const struct stat& status, const std::string& path) noexcept {
    struct stat named {};
    return ::lstat(path.c_str(), &named) == 0 && named.st_dev == status.st_dev &&
           named.st_ino == status.st_ino;
}

// Takes the lock on the file, which does not wait for a holder. Who only looks whether the file is
// his own has the lock too, for some calls: giving up then would leave a file that is nobody's for
// ever. So long, because on a busy machine some calls may take hundreds of milliseconds.
bool lockUnlessHeld(int fd) noexcept {
    constexpr int kLongestLook = 1000;  // in milliseconds, each of which may last longer
    for (int waited = 0; ::flock(fd, LOCK_EX | LOCK_NB) != 0; ++waited) {
        if (errno != EWOULDBLOCK || waited == kLongestLook) {
            return false;
        }
        sleepFor(std::chrono::milliseconds(1));
    }
    return true;
}

// The file is this attempt's own when nobody holds it or is about to remove it, it is what the path
// names, and it did not exist long before the attempt: what a dead process left stays a lock.
Descriptor adoptOwnFile(const std::string& path, Clock::time_point start) noexcept {
    Descriptor file = openFile(path, O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    struct stat status {};
    // Before the lock: who has just created it and finds it locked takes it for lost.
    const bool canBeOwn = file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                          status.st_size == 0 && status.st_uid == ::geteuid();
    // Again behind it, because the holder may have released it in between.
    const bool isOwn = canBeOwn && lockUnlessHeld(file.get()) &&
                       ::fstat(file.get(), &status) == 0 && (status.st_mode & kReleased) == 0 &&
                       isNamed(status, path) && isYoungerThan(file.get(), status, start);
    return isOwn ? std::move(file) : Descriptor();
}

// Whether an attempt that was interrupted has meanwhile adopted the file that we have just created,
// and perhaps released it again. Where files cannot be locked nobody adopts any.
bool isTaken(int fd) noexcept {
    if (!lockUnlessHeld(fd)) {
        return errno == EWOULDBLOCK;
    }
    struct stat status {};
    return ::fstat(fd, &status) == 0 && (status.st_mode & kReleased) != 0;
}

}  // namespace

Descriptor createLockFile(const std::string& path) noexcept {
    const auto start = Clock::now();
    for (bool interrupted = false;; interrupted = true) {
        Descriptor file(
            ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_TRUNC | O_CLOEXEC, 0600));
        if (file) {
            return isTaken(file.get()) ? Descriptor() : std::move(file);
        }
        if (errno != EINTR) {
            return interrupted && errno == EEXIST ? adoptOwnFile(path, start) : Descriptor();
        }
    }
}

void removeLockFile(const std::string& path, Descriptor& file) noexcept {
    // The lock on the file ends before its name does: in between it must not look like an orphan.
    static_cast<void>(::fchmod(file.get(), kReleased));
    file.reset();
    static_cast<void>(::unlink(path.c_str()));
}

}  // namespace vorn::common::internal
