// SPDX-License-Identifier: MIT
// Guarantees: the kernel releases the lock when its holder ends, however that ends; threads of one
// process exclude each other as processes do; a deadline is on the monotonic clock; a child does
// not inherit it.
#include <mutex>

#include <vorn/common/fs/FileMutex.h>

#include "tasks.h"

std::string compared::vorn::lockDevice(const std::string& path) {
    ::vorn::common::fs::FileMutex mutex(path);
    const std::unique_lock lock(mutex,
                                std::chrono::steady_clock::now() + std::chrono::milliseconds(50));
    return lock.owns_lock() ? "locked" : "busy";
}
