// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <ios>
#include <mutex>
#include <string>

#include <vorn/common/export.h>
#include <vorn/common/fs/FileMutex.h>

namespace vorn::common::fs {

/// A data file that is open as a stream while a FileMutex on its path and ".lck" is held, so that
/// processes can share it.
///
///     {
///         auto log = fs::LockedFile::create("/var/lib/gateway/events");     // out | app
///         log.stream() << event << '\n';
///     }   // the stream is closed, then the lock is released
///
/// One process creates the file with `create`, another waits for it with `wait`.
///
/// All failures are std::ios_base::failure; what() begins with the text given below, and the C++
/// library appends the text of its error code (": iostream error").
/// Lifetime: destruction closes the stream first, then removes the lock file.
/// Threads: one at a time; objects and processes exclude each other.
/// What FileMutex says of lock files that a dead process left holds here too.
class VORN_GW_COMMON_EXPORT LockedFile {
  public:
    /// How the data file is opened and created.
    struct Options {
        /// The mode of the stream; the default appends.
        std::ios_base::openmode mode = std::ios_base::out | std::ios_base::app;
        /// Given exactly, whatever the umask, to a data file that this object creates. The default
        /// is 0660: owner and group, read and write.
        std::filesystem::perms perms = std::filesystem::perms(0660);
    };
    /// Those of `Options()`, for the default arguments.
    static const Options kDefaultOptions;

    /// Takes the lock, trying until `deadline` (every 100 ms). Throws "File ", `path`, " is locked"
    /// when that fails.
    ///
    /// With `create`, a missing data file is created empty with the permissions of the options.
    /// Without it, waits for another process to create the file, releasing the lock for 100 ms at a
    /// time. Throws "No such file or directory " and the path when there is none at the deadline,
    /// or "File ", `path`, " is locked" when the lock could not be taken again by then.
    ///
    /// Then opens the stream. Throws "Unable to open file " and the path when that fails; the lock
    /// is released.
    LockedFile(const std::string& path, bool create, std::chrono::steady_clock::time_point deadline,
               const Options& options = kDefaultOptions);

    /// The same without a deadline.
    LockedFile(const std::string& path, bool create, const Options& options = kDefaultOptions);

    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    /// Opens the file, creating it when it is missing; waits for the lock as long as it takes.
    static LockedFile create(const std::string& path, const Options& options = kDefaultOptions);

    /// The same, waiting until the deadline only.
    static LockedFile tryCreateUntil(const std::string& path,
                                     std::chrono::steady_clock::time_point deadline,
                                     const Options& options = kDefaultOptions);

    /// Opens the file as soon as it exists and is not locked; waits as long as it takes.
    static LockedFile wait(const std::string& path,
                           std::ios_base::openmode mode = std::ios_base::in | std::ios_base::out);

    /// The same, waiting until the deadline only.
    static LockedFile waitUntil(const std::string& path,
                                std::chrono::steady_clock::time_point deadline,
                                std::ios_base::openmode mode = std::ios_base::in |
                                                               std::ios_base::out);

    /// Closes the stream and removes the data file; the lock is kept until destruction. Returns
    /// whether a file was removed. Throws std::filesystem::filesystem_error when that is refused.
    bool remove();

    /// The data file; close-on-exec.
    [[nodiscard]] std::fstream& stream() noexcept { return stream_; }

  private:
    VORN_GW_COMMON_HIDDEN void createDataFile(std::filesystem::perms perms) const;
    VORN_GW_COMMON_HIDDEN void waitForDataFile(std::chrono::steady_clock::time_point deadline);
    [[nodiscard]] VORN_GW_COMMON_HIDDEN bool dataFileExists() const;

    std::string path_;
    FileMutex mutex_;
    std::unique_lock<FileMutex> lock_;
    std::fstream stream_;
};

inline constexpr LockedFile::Options LockedFile::kDefaultOptions{};

}  // namespace vorn::common::fs
