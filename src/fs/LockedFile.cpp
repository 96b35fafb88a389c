// SPDX-License-Identifier: MIT
#include "vorn/common/fs/LockedFile.h"

#include <system_error>

#include "posix/openFile.h"
#include "posix/sleep.h"

namespace vorn::common::fs {
namespace {

constexpr auto kNever = std::chrono::steady_clock::time_point::max();
constexpr std::chrono::milliseconds kAppearancePollPeriod(100);
constexpr std::filesystem::perms kWaiterPermissions{0660};

[[noreturn]] void failLocked(const std::string& path) {
    throw std::ios_base::failure("File " + path + " is locked");
}

}  // namespace

LockedFile::LockedFile(const std::string& path, bool create,
                       std::chrono::steady_clock::time_point deadline, const Options& options)
    : path_(path), mutex_(path_ + ".lck"), lock_(mutex_, deadline) {
    if (!lock_.owns_lock()) {
        failLocked(path_);
    }
    // From here on an exception destroys the members built so far, which releases the lock.
    if (!create) {
        waitForDataFile(deadline);
    } else if (!dataFileExists()) {
        createDataFile(options.perms);
    }
    // The permissions again: the mode may create the file, should somebody remove it meanwhile.
    internal::openStream(stream_, path_, options.mode, options.perms);
    if (!stream_.is_open()) {
        throw std::ios_base::failure("Unable to open file " + path_);
    }
}

LockedFile::LockedFile(const std::string& path, bool create, const Options& options)
    : LockedFile(path, create, kNever, options) {}

LockedFile LockedFile::create(const std::string& path, const Options& options) {
    return LockedFile(path, true, options);
}

LockedFile LockedFile::tryCreateUntil(const std::string& path,
                                      std::chrono::steady_clock::time_point deadline,
                                      const Options& options) {
    return LockedFile(path, true, deadline, options);
}

LockedFile LockedFile::wait(const std::string& path, std::ios_base::openmode mode) {
    return LockedFile(path, false, Options{mode, kWaiterPermissions});
}

LockedFile LockedFile::waitUntil(const std::string& path,
                                 std::chrono::steady_clock::time_point deadline,
                                 std::ios_base::openmode mode) {
    return LockedFile(path, false, deadline, Options{mode, kWaiterPermissions});
}

bool LockedFile::remove() {
    // Closed first, or what the stream still holds would be written to a file without a name.
    stream_.close();
    return std::filesystem::remove(path_);
}

void LockedFile::createDataFile(std::filesystem::perms perms) const {
    // Created with the permissions, so that nobody can open it before they are set; set again,
    // because the umask has had its share.
    const auto file = internal::openOrCreate(path_, perms);
    if (file) {
        // Ignored when it is refused: some file systems know no permissions.
        static_cast<void>(internal::setPermissions(file.get(), perms));
    }
}

void LockedFile::waitForDataFile(std::chrono::steady_clock::time_point deadline) {
    while (!dataFileExists()) {
        do {
            if (!(std::chrono::steady_clock::now() < deadline)) {
                if (!lock_.owns_lock()) {
                    failLocked(path_);
                }
                throw std::ios_base::failure("No such file or directory " + path_);
            }
            // The producer creates the file under the same lock.
            if (lock_.owns_lock()) {
                lock_.unlock();
            }
            internal::sleepFor(kAppearancePollPeriod);
        } while (!lock_.try_lock_until(deadline));
    }
}

bool LockedFile::dataFileExists() const {
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::status(path_, ignored));
}

}  // namespace vorn::common::fs
