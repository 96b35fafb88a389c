#include "posix/durable.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "posix/openFile.h"
#include "posix/retry.h"

namespace vorn::common::internal {

bool syncContent(int fd) noexcept {
    // Without the times of the file, which nobody reads after a power cut. The errors that are
    // taken for success say that there is nothing to wait for.
    return retryOnEintr([fd] { return ::fdatasync(fd); }) == 0 || errno == EINVAL ||
           errno == ENOSYS || errno == ENOTSUP || errno == EROFS;
}

void syncDirectoryOf(const std::filesystem::path& path) noexcept {
    try {
        const auto parent = path.parent_path();
        const auto directory =
            openFile(parent.empty() ? "." : parent.string(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (directory) {
            // fsync, because names are a directory's metadata.
            static_cast<void>(retryOnEintr([&] { return ::fsync(directory.get()); }));
        }
    } catch (const std::exception&) {
    }
}

}  // namespace vorn::common::internal
