// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <vorn/common/export.h>

namespace vorn::common::fs {

/// A mutex between processes: whoever creates the lock file holds it. For std::unique_lock; there
/// is no try_lock_for, give try_lock_until a deadline.
///
///     fs::FileMutex mutex("/run/gateway/modem.lck");
///     const std::unique_lock lock(mutex, std::chrono::steady_clock::now() + 5s);
///     if (lock.owns_lock()) ...
///
/// The path is used as it is given, and must lie on a file system that all the processes share. Two
/// objects on the same path exclude each other inside one process too.
///
/// Lifetime: unlock before destroying. A held object writes "WARNING - FileMutex::~FileMutex -
/// destroy a mutex which has not been released" to the standard error stream.
/// Threads: one object is for one thread at a time.
/// Misuse writes one line to the standard error stream and throws std::runtime_error with the same
/// line, line end included: "ERROR - FileMutex::", the operation, " - mutex is already owned\n"
/// (locking twice) or " - mutex is not owned\n" (unlocking what is not held).
///
/// Deliberate: a lock file that a dead process left is never detected; the mutex stays taken until
/// somebody removes the file. Remove stale lock files when the system starts, or keep them on
/// tmpfs.
/// Deliberate: destroying a held object leaves its lock file (and its descriptor), so that a holder
/// who forgot to unlock keeps others out rather than letting them in.
/// An attempt that a signal interrupts after a network file system has created the file recognises
/// its own file and goes on; so it does with one that a process left which died within the second
/// before. While others hold or look at the file this takes a second or more, beyond a deadline
/// too; where files cannot be locked (flock) it may find itself locked out. Not guaranteed:
/// fairness; exclusion when somebody else removes the lock file of a living holder.
class VORN_GW_COMMON_EXPORT FileMutex {
  public:
    /// Takes nothing and creates nothing.
    explicit FileMutex(const std::string& lockFilePath);
    ~FileMutex();
    FileMutex(const FileMutex&) = delete;
    FileMutex& operator=(const FileMutex&) = delete;

    /// Tries until it succeeds.
    ///
    /// Deliberate: there is no pause between two attempts, and every failure counts as "taken": on
    /// a path where no file can be created (a missing directory) it spins for ever. Whoever may
    /// have to wait uses try_lock_until.
    void lock();

    /// Makes one attempt; false when the lock file exists or cannot be created.
    bool try_lock();

    /// Makes one attempt, then one every 100 ms and a last one at the deadline. With a deadline
    /// that has passed it makes exactly one. time_point::max() means for ever.
    bool try_lock_until(const std::chrono::steady_clock::time_point& deadline);

    /// Removes the lock file; one that is missing, or cannot be removed, is no error: the mutex is
    /// free as far as this object is concerned. Needs no memory.
    void unlock();

  private:
    struct VORN_GW_COMMON_HIDDEN Record;

    VORN_GW_COMMON_HIDDEN void requireNotOwned(const char* operation) const;
    VORN_GW_COMMON_HIDDEN bool attempt();

    std::unique_ptr<Record> record_;
    bool owned_ = false;
};

}  // namespace vorn::common::fs
