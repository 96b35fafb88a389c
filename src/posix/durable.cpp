// SPDX-License-Identifier: MIT
#include "posix/durable.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>

#include "posix/openFile.h"
#include "posix/retry.h"

namespace vorn::common::internal {

bool syncContent(int fd) noexcept {
    // Without the times of the file, which nobody reads after a power cut. The errors that are
    // taken for success say that there is nothing to wait for.
    return retryOnEintr([fd] { return ::fdatasync(fd); }) == 0 || errno == EINVAL ||
           errno == ENOSYS || errno == ENOTSUP || errno == EROFS;
}

std::string_view directoryOf(std::string_view path) noexcept {
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos) {
        return ".";
    }
    return path.substr(0, std::max<std::size_t>(slash, 1));
}

void syncDirectoryOf(std::string_view path) noexcept {
    try {
        const auto directory =
            openFile(std::string(directoryOf(path)), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (directory) {
            // fsync, because names are a directory's metadata.
            static_cast<void>(retryOnEintr([&] { return ::fsync(directory.get()); }));
        }
    } catch (const std::exception&) {
    }
}

}  // namespace vorn::common::internal
