// SPDX-License-Identifier: MIT

// Two users of one device exclude each other by a lock file; in the field they are two processes.
#include <chrono>
#include <iostream>
#include <mutex>

#include <vorn/common/fs/FileMutex.h>
#include <vorn/common/fs/TemporaryDirectory.h>

using vorn::common::fs::FileMutex;
using namespace std::chrono_literals;

namespace {

void useModem(const std::string& lockFile, const char* who) {
    FileMutex mutex(lockFile);
    const std::unique_lock lock(mutex, std::chrono::steady_clock::now() + 50ms);
    std::cout << who << (lock.owns_lock() ? " has the modem\n" : " gives up\n");
}

}  // namespace

int main() {
    const vorn::common::fs::TemporaryDirectory directory;
    const auto lockFile = directory.path() + "/modem.lck";
    {
        FileMutex mutex(lockFile);
        const std::lock_guard lock(mutex);
        useModem(lockFile, "dialler");
    }
    useModem(lockFile, "dialler");
    return 0;
}
