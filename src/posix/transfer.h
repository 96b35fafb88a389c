#pragma once

#include <unistd.h>

#include <cstddef>
#include <string_view>

#include "posix/retry.h"

namespace vorn::common::internal {

/// Reads until `size` bytes are there, the file ends or an error comes; returns what was read.
inline std::size_t readUpTo(int fd, char* data, std::size_t size) noexcept {
    std::size_t done = 0;
    while (done < size) {
        const auto count = retryOnEintr([&] { return ::read(fd, data + done, size - done); });
        if (count <= 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    return done;
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
