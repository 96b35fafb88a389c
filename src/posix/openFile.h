// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <ios>
#include <optional>
#include <string>

#include "posix/Descriptor.h"

namespace vorn::common::internal {

inline constexpr std::filesystem::perms kDefaultFilePermissions{0666};

/// The mode bits that ::open and ::fchmod take.
[[nodiscard]] constexpr unsigned modeBits(std::filesystem::perms permissions) noexcept {
    return static_cast<unsigned>(permissions & std::filesystem::perms::mask);
}

/// What ::open has to be told for a file stream of this mode, close-on-exec included; nothing for a
/// combination that no file stream accepts.
[[nodiscard]] std::optional<int> openFlags(std::ios_base::openmode mode) noexcept;

/// Whether a file stream of this mode empties the file that it opens.
[[nodiscard]] bool emptiesFile(std::ios_base::openmode mode) noexcept;

/// ::open, repeated when a signal interrupts it. A file that it creates gets the permissions that
/// the process's umask leaves of the given ones. Empty, with errno set, on failure.
[[nodiscard]] Descriptor openFile(
    const std::string& path, int flags,
    std::filesystem::perms permissions = kDefaultFilePermissions) noexcept;

/// The same for the two usual ways: reading, and creating what is missing (or opening it) to write.
[[nodiscard]] Descriptor openForReading(const std::string& path) noexcept;
[[nodiscard]] Descriptor openOrCreate(
    const std::string& path, std::filesystem::perms permissions = kDefaultFilePermissions) noexcept;

/// Gives an open file exactly these permissions. False, with errno set, when that is refused.
[[nodiscard]] bool setPermissions(int fd, std::filesystem::perms permissions) noexcept;

/// Whether there is a regular file at the path itself, or nothing.
[[nodiscard]] bool isRegularOrMissing(const std::string& path) noexcept;

/// The size of a file as seeking to its end tells it, the position being at its start afterwards;
/// -1 for what has no end to seek to: a pipe, many files of /proc, a directory. A directory that
/// passes for a small file is not looked at: it relies on the reading that follows (EISDIR).
[[nodiscard]] std::int64_t sizeBySeeking(int fd) noexcept;

/// Opens a stream buffer as its own open would, but close-on-exec and with the permissions that a
/// new file gets from its first moment on.
[[nodiscard]] bool openBuffer(std::filebuf& buffer, const std::string& path,
                              std::ios_base::openmode mode, std::filesystem::perms permissions);

/// The same for a file stream: fails it, or clears its state.
template <class Stream>
void openStream(Stream& stream, const std::string& path, std::ios_base::openmode mode,
                std::filesystem::perms permissions = kDefaultFilePermissions) {
    if (openBuffer(*stream.rdbuf(), path, mode, permissions)) {
        stream.clear();
    } else {
        stream.setstate(std::ios_base::failbit);
    }
}

}  // namespace vorn::common::internal
