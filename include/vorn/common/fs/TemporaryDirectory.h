// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>

#include <vorn/common/export.h>

namespace vorn::common::fs {

/// Owns a directory and removes it, with everything below it, when it is destroyed.
///
///     fs::TemporaryDirectory work;                                  // /tmp/Ab3xYz, mode 0700
///     unpack(archive, work.path());
///
/// Lifetime: the directory lives as long as the handle, unless `release` gives it to the caller. A
/// handle that was moved from, or released, owns nothing. A constructor that throws removes what it
/// created, and never a directory that was there before.
/// Threads: one at a time.
/// Not guaranteed: removal when the process is killed. A forked child that runs the destructor
/// removes the directory as well: let it leave through _exit.
class VORN_GW_COMMON_EXPORT TemporaryDirectory {
  public:
    /// Creates a directory of a random name below /tmp, with exactly these permissions whatever the
    /// umask. Throws std::system_error with the reason (errno) when that is impossible.
    ///
    /// Deliberate: always below /tmp; TMPDIR is not looked at.
    explicit TemporaryDirectory(std::filesystem::perms perms = std::filesystem::perms::owner_all);

    /// Creates the directory `path`, whose parent must exist, with exactly these permissions.
    /// Throws std::filesystem::filesystem_error: "Temporary directory already exist" (EEXIST) when
    /// there is one, the system's reason when it cannot be created.
    explicit TemporaryDirectory(std::string path,
                                std::filesystem::perms perms = std::filesystem::perms::owner_all);

    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    /// Takes the directory; `other` owns nothing afterwards.
    TemporaryDirectory(TemporaryDirectory&& other) noexcept;

    /// Removes the directory owned so far (a failure is ignored) and takes the other's. Moving a
    /// handle onto itself changes nothing.
    TemporaryDirectory& operator=(TemporaryDirectory&& other) noexcept;

    /// Removes the directory; failures are ignored.
    ~TemporaryDirectory();

    /// Sets exactly these. Throws std::filesystem::filesystem_error when that is refused.
    void setPermissions(const std::filesystem::perms& perms);

    /// Removes the directory and everything below it if it exists, and owns nothing afterwards;
    /// otherwise keeps the path. Returns whether it did. Throws std::filesystem::filesystem_error
    /// when something cannot be removed; the path stays owned.
    bool removeIfExists();

    /// Owns nothing any more; the directory stays and is the caller's.
    void release() noexcept;

    /// The owned path; empty when nothing is owned.
    [[nodiscard]] std::string path() const;

    /// Whether a path is owned.
    [[nodiscard]] explicit operator bool() const noexcept;

    /// Whether a path is owned and something is there. False also when that cannot be found out;
    /// throws nothing for the file system's reasons.
    [[nodiscard]] bool checkIfExists() const;

    /// std::filesystem::perms::unknown when nothing is there any more. Throws
    /// std::filesystem::filesystem_error when they cannot be read.
    [[nodiscard]] std::filesystem::perms permissions() const;

  private:
    VORN_GW_COMMON_HIDDEN void removeQuietly() noexcept;

    std::filesystem::path path_;
};

}  // namespace vorn::common::fs
