// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace vorn::common::internal {

/// What the library asks of a file. Not `struct stat`, which has no place for a time behind January
/// 2038 where time_t has 32 bits: there asking for the status of such a file fails (EOVERFLOW), in
/// the C++ library's `std::filesystem`, too.
struct FileStatus {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::uint32_t mode = 0;  ///< type and permissions
    std::uint32_t user = 0;
    std::uint32_t group = 0;
    std::chrono::nanoseconds accessed{};
    std::chrono::nanoseconds modified{};

    [[nodiscard]] bool isRegular() const noexcept;
    [[nodiscard]] bool isDirectory() const noexcept;
    [[nodiscard]] bool isSameFile(const FileStatus& other) const noexcept {
        return device == other.device && inode == other.inode;
    }
};

/// That of an open file, of what a path names, and of the link that a path itself may be. Nothing,
/// with errno set, on failure.
[[nodiscard]] std::optional<FileStatus> statusOf(int fd) noexcept;
[[nodiscard]] std::optional<FileStatus> statusOf(const std::string& path) noexcept;
[[nodiscard]] std::optional<FileStatus> statusOfLink(const std::string& path) noexcept;

/// Gives an open file the times that `status` has, or those of now. False, with errno set, when
/// that is refused.
[[nodiscard]] bool setTimes(int fd, const FileStatus& status) noexcept;
[[nodiscard]] bool setTimesToNow(int fd) noexcept;

}  // namespace vorn::common::internal
