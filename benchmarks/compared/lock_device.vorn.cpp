// SPDX-License-Identifier: MIT
// Guarantees: who creates the file holds the lock; threads of one process exclude each other as
// processes do; the deadline is on the monotonic clock. A file that a dead holder left keeps others
// out until somebody removes it.
#include <mutex>

#include <vorn/common/fs/FileMutex.h>

#include "tasks.h"

std::string compared::vorn::lockDevice(const std::string& path) {
    ::vorn::common::fs::FileMutex mutex(path);
    const std::unique_lock lock(mutex,
                                std::chrono::steady_clock::now() + std::chrono::milliseconds(50));
    return lock.owns_lock() ? "locked" : "busy";
}
