// SPDX-License-Identifier: MIT
#include "posix/copyFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include "posix/fileStatus.h"
#include "posix/openFile.h"
#include "posix/transfer.h"

namespace vorn::common::internal {

std::optional<std::int64_t> copyRest(int from, int to) {
    std::vector<char> block(64 * 1024);
    std::int64_t size = 0;
    for (;;) {
        const auto read = readFully(from, block.data(), block.size());
        if (read.error != 0 || !writeAll(to, {block.data(), read.size})) {
            return std::nullopt;
        }
        size += static_cast<std::int64_t>(read.size);
        if (read.size < block.size()) {
            return size;
        }
    }
}

bool copyRegularFile(const std::string& from, const std::string& to) {
    // Looked at before they are opened: opening a pipe would wait for its other end, and opening
    // the same file for writing would empty it.
    const auto source = statusOf(from);
    const auto target = statusOf(to);
    if (!source || !source->isRegular() ||
        (target && (!target->isRegular() || target->isSameFile(*source)))) {
        return false;
    }
    const auto in = openForReading(from);
    // Writable for nobody else before it has the source's permissions.
    const auto out = in ? openFile(to, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC,
                                   std::filesystem::perms::owner_write)
                        : Descriptor();
    return out && setPermissions(out.get(), std::filesystem::perms(source->mode & 07777)) &&
           copyRest(in.get(), out.get());
}

}  // namespace vorn::common::internal
