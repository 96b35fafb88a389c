// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>

#include "posix/retry.h"

namespace vorn::common::internal {

/// What has been read: less than was asked for at the end of the file, or with an error.
struct ReadResult {
    std::size_t size = 0;
    int error = 0;  ///< errno; 0 for none
};

/// Reads until `size` bytes are there, the file ends or an error comes.
[[nodiscard]] inline ReadResult readFully(int fd, char* data, std::size_t size) noexcept {
    ReadResult result;
    while (result.size < size) {
        const auto count =
            retryOnEintr([&] { return ::read(fd, data + result.size, size - result.size); });
        if (count <= 0) {
            result.error = count < 0 ? errno : 0;
            break;
        }
        result.size += static_cast<std::size_t>(count);
    }
    return result;
}

/// The same where an error is as good as the end: how many bytes were read.
[[nodiscard]] inline std::size_t readUpTo(int fd, char* data, std::size_t size) noexcept {
    return readFully(fd, data, size).size;
}

/// Writes everything, going on after short writes; false, with errno set, when that fails.
[[nodiscard]] inline bool writeAll(int fd, std::string_view text) noexcept {
    while (!text.empty()) {
        const auto count = retryOnEintr([&] { return ::write(fd, text.data(), text.size()); });
        if (count < 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace vorn::common::internal
