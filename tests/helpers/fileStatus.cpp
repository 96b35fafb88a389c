// SPDX-License-Identifier: MIT

// Compiled with a time_t of 64 bits (see CMakeLists.txt): files of tests may have any times.
#include <sys/stat.h>

#include "helpers/TempDir.h"
#include "helpers/wallClock.h"

namespace helpers {

unsigned modeOf(const std::filesystem::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

std::pair<std::int64_t, std::int64_t> timesOf(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        throw std::runtime_error("cannot tell the times of " + path.string());
    }
    return {status.st_atim.tv_sec, status.st_mtim.tv_sec};
}

}  // namespace helpers
