#include "posix/durable.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "posix/openFile.h"
#include "posix/retry.h"

namespace vorn::common::internal {

bool syncContent(int fd) noexcept {
    return retryOnEintr([fd] { return ::fdatasync(fd); }) == 0 || errno == EINVAL ||
           errno == ENOSYS || errno == ENOTSUP || errno == EROFS;
}

void syncDirectoryOf(const std::filesystem::path& path) noexcept {
    try {
        const auto parent = path.parent_path();
        const auto directory =
            openFile(parent.empty() ? "." : parent.string(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (directory) {
            retryOnEintr([&] { return ::fsync(directory.get()); });
        }
    } catch (const std::exception&) {
    }
}

}  // namespace vorn::common::internal
