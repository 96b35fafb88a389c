// SPDX-License-Identifier: MIT
// Guarantees: after a crash or a power cut the file is the version before or the new one, complete,
// with the mode asked for; the version before is kept as a backup; when commit returns the new one
// is on the disk.
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
