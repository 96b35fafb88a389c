// SPDX-License-Identifier: MIT
#include "vorn/common/fs/FileMutex.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "posix/lockFile.h"
#include "posix/sleep.h"

namespace vorn::common::fs {
namespace {

constexpr std::chrono::milliseconds kPollPeriod(100);

[[noreturn]] void misuse(const char* operation, const char* reason) {
    const auto line = std::string("ERROR - FileMutex::") + operation + " - " + reason + "\n";
    // Both: whoever catches the exception may not look at its text.
    std::cerr << line;
    throw std::runtime_error(line);
}

void warnAboutHeldMutex() noexcept {
    try {
        std::cerr << "WARNING - FileMutex::~FileMutex - destroy a mutex which has not been "
                     "released\n";
    } catch (...) {
    }
}

}  // namespace

// On the heap, so that the header names neither a descriptor nor what holds it.
struct FileMutex::Record {
    std::string path;
    internal::Descriptor file;
};

FileMutex::FileMutex(const std::string& lockFilePath) : record_(new Record{lockFilePath, {}}) {}

FileMutex::~FileMutex() {
    if (owned_) {
        warnAboutHeldMutex();
        // Left open on purpose, like the file: who forgot to unlock keeps others out.
        static_cast<void>(record_->file.release());
    }
}

void FileMutex::lock() {
    requireNotOwned("lock");
    // Deliberate: no pause. Whoever may wait long uses try_lock_until.
    while (!attempt()) {
    }
}

bool FileMutex::try_lock() {
    requireNotOwned("try_lock");
    return attempt();
}

bool FileMutex::try_lock_until(const std::chrono::steady_clock::time_point& deadline) {
    requireNotOwned("try_lock_until");
    attempt();
    while (!owned_) {
        const auto now = std::chrono::steady_clock::now();
        if (!(now < deadline)) {
            break;
        }
        // From the time just read, so that a deadline of time_point::max() overflows nowhere.
        const std::chrono::steady_clock::time_point next = now + kPollPeriod;
        internal::sleepFor(std::min(deadline, next) - now);
        attempt();
    }
    return owned_;
}

void FileMutex::unlock() {
    if (!owned_) {
        misuse("unlock", "mutex is not owned");
    }
    // First: whatever happens to the file, this object does not hold it any more.
    owned_ = false;
    internal::removeLockFile(record_->path, record_->file);
}

void FileMutex::requireNotOwned(const char* operation) const {
    if (owned_) {
        misuse(operation, "mutex is already owned");
    }
}

bool FileMutex::attempt() {
    record_->file = internal::createLockFile(record_->path);
    owned_ = static_cast<bool>(record_->file);
    return owned_;
}

}  // namespace vorn::common::fs
