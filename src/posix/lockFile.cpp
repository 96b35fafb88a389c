// SPDX-License-Identifier: MIT
#include "posix/lockFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "posix/fileStatus.h"
#include "posix/openFile.h"
#include "posix/sleep.h"

namespace vorn::common::internal {
namespace {

using Clock = std::chrono::steady_clock;

// Marks a lock file between its release and its removal; no creation sets it, whatever the umask.
constexpr mode_t kReleased = S_ISVTX;

// The times of files advance with the timer's ticks, which a busy machine, a virtual one above all,
// may have late by hundreds of milliseconds. An own file that seems too old would be nobody's and
// keep everybody out; to take what a process left that died within this time does no harm.
constexpr std::chrono::seconds kFileTimeLag(1);

// Whether the file was made after `start`, by the clock of its own file system, which need not be
// this machine's. The times are put back: what has been looked at must not seem young to the next
// attempt.
bool isYoungerThan(int fd, const FileStatus& status, Clock::time_point start) noexcept {
    const auto touched = setTimesToNow(fd) ? statusOf(fd) : std::nullopt;
    // After the file was touched: a pause in between must not make an own file too old, which would
    // be nobody's then.
    const auto age = Clock::now() - start;
    // Younger than now: left before the wall clock was set back, as one without a battery is at
    // every start.
    return setTimes(fd, status) && touched &&
           touched->modified - status.modified >= -kFileTimeLag &&
           touched->modified - status.modified <= age + kFileTimeLag;
}

bool isNamed(const FileStatus& status, const std::string& path) noexcept {
    const auto named = statusOfLink(path);
    return named && named->isSameFile(status);
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
    // Before the lock: who has just created it and finds it locked takes it for lost.
    auto status = file ? statusOf(file.get()) : std::nullopt;
    if (!status || !status->isRegular() || status->size != 0 || status->user != ::geteuid() ||
        !lockUnlessHeld(file.get())) {
        return Descriptor();
    }
    // Again behind it, because the holder may have released it in between.
    status = statusOf(file.get());
    const bool isOwn = status && (status->mode & kReleased) == 0 && isNamed(*status, path) &&
                       isYoungerThan(file.get(), *status, start);
    return isOwn ? std::move(file) : Descriptor();
}

// Whether an attempt that was interrupted has meanwhile adopted the file that we have just created,
// and perhaps released it again. Where files cannot be locked nobody adopts any.
bool isTaken(int fd) noexcept {
    if (!lockUnlessHeld(fd)) {
        return errno == EWOULDBLOCK;
    }
    const auto status = statusOf(fd);
    return status && (status->mode & kReleased) != 0;
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
