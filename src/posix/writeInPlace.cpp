// SPDX-License-Identifier: MIT
#include "posix/writeInPlace.h"

#include <unistd.h>

#include "posix/durable.h"
#include "posix/openFile.h"
#include "posix/transfer.h"

namespace vorn::common::internal {

bool writeInPlace(const std::string& path, std::ios_base::openmode mode,
                  std::filesystem::perms permissions, std::string_view text) noexcept {
    const auto flags = openFlags(mode);
    if (!flags) {
        return false;
    }
    const auto file = openFile(path, *flags, permissions);
    // A content that others may read, or the service may not read again, is worse than none.
    if (!file || !setPermissions(file.get(), permissions)) {
        return false;
    }
    if ((mode & std::ios_base::ate) != 0 && ::lseek(file.get(), 0, SEEK_END) == -1) {
        return false;
    }
    return writeAll(file.get(), text) && syncContent(file.get());
}

}  // namespace vorn::common::internal
