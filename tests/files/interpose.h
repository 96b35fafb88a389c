#pragma once

#include <atomic>
#include <cstddef>

/// The test program's own definitions of some system calls take the place of the C library's, for
/// the library under test too. Each thread (and each forked child) has settings of its own.
namespace interpose {

struct Settings {
    int exchangeError = 0;         ///< errno with which an exchange of two names fails
    int renameError = 0;           ///< errno with which rename fails
    int syncError = 0;             ///< errno with which fdatasync fails
    std::size_t longestWrite = 0;  ///< writes at most so many bytes at a time (0: no limit)
    bool interruptWrites = false;  ///< every other write is interrupted before it wrote anything
    bool interruptOpens = false;   ///< every other open is interrupted before it opened anything
    int failedWrites = 0;          ///< so many writes fail with ENOSPC
    bool outOfMemory = false;      ///< operator new throws
    int killAtCall = 0;            ///< SIGKILL before the n-th changing call (0: never)

    int opens = 0;                         ///< calls of open so far
    int writes = 0;                        ///< calls of write so far
    int contentSyncs = 0;                  ///< calls of fdatasync so far
    int directorySyncs = 0;                ///< calls of fsync so far
    int exchanges = 0;                     ///< exchanges that were tried so far
    int contentSyncsBeforeExchange = 0;    ///< of them, those before the last exchange
    int directorySyncsBeforeExchange = 0;  ///< the same
    int changingCalls = 0;                 ///< rename, exchange, write, fdatasync, unlink so far
};

/// The exchange of two names fails with this errno in all threads (0: it works).
void failEveryExchange(int error);

/// Counts the changing calls of all threads; null: not any more.
void countChangesIn(std::atomic<long>* counter);

/// The calling thread's settings.
Settings& settings();

/// Settings for one scope.
class Scope {
  public:
    Scope() { settings() = {}; }
    ~Scope() { settings() = {}; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    Settings* operator->() const { return &settings(); }
};

}  // namespace interpose
