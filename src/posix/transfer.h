#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>

#include "posix/retry.h"

namespace vorn::common::internal {

/// What readUpTo has read: less than was asked for at the end of the file, or with an error.
struct ReadResult {
    std::size_t size = 0;
    int error = 0;  ///< errno; 0 for none
};

/// Reads until `size` bytes are there, the file ends or an error comes.
[[nodiscard]] inline ReadResult readUpTo(int fd, char* data, std::size_t size) noexcept {
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
