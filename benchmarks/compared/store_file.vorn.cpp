// SPDX-License-Identifier: MIT
// Guarantees: after a crash or a power cut the file is the version before or the new one, complete,
// with the mode asked for; when commit returns, the new one and its name are on the disk; the
// version before is kept as a backup. Failures are not told; after three failed attempts, as on a
// full disk, a part may stand there, and the version before as the backup.
#include <vorn/common/fs/tools.h>
#include <vorn/common/stream/StreamAccessors.h>

#include "tasks.h"

std::string compared::vorn::storeFile(const std::string& path) {
    using namespace ::vorn::common;
    stream::FileOutputStreamAccessor file(path, std::ios_base::trunc, std::filesystem::perms{0600},
                                          path + ".bak");
    file.stream() << "{\"apn\":\"internet\"}";
    file.commit();
    return fs::tools::readFile(path);
}
