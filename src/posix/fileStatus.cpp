// SPDX-License-Identifier: MIT

// Compiled with a time_t of 64 bits (see CMakeLists.txt). So nothing here waits or sleeps, and no
// header of the library is included but its own.
#include "posix/fileStatus.h"

#include <sys/stat.h>

namespace vorn::common::internal {
namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

#if defined(__GLIBC_PREREQ)
#if __GLIBC_PREREQ(2, 34)
static_assert(sizeof(timespec::tv_sec) == 8, "the macros for 64 bits have no effect");
#endif
#endif

nanoseconds sinceEpoch(const timespec& time) noexcept {
    return seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

timespec asTimespec(nanoseconds time) noexcept {
    const auto whole = std::chrono::floor<seconds>(time);
    timespec result{};
    result.tv_sec = static_cast<decltype(result.tv_sec)>(whole.count());
    result.tv_nsec = static_cast<decltype(result.tv_nsec)>((time - whole).count());
    return result;
}

std::optional<FileStatus> known(int result, const struct stat& status) noexcept {
    if (result != 0) {
        return std::nullopt;
    }
    return FileStatus{.device = status.st_dev,
                      .inode = status.st_ino,
                      .size = status.st_size,
                      .mode = status.st_mode,
                      .user = status.st_uid,
                      .group = status.st_gid,
                      .accessed = sinceEpoch(status.st_atim),
                      .modified = sinceEpoch(status.st_mtim)};
}

}  // namespace

bool FileStatus::isRegular() const noexcept {
    return S_ISREG(mode);
}

bool FileStatus::isDirectory() const noexcept {
    return S_ISDIR(mode);
}

std::optional<FileStatus> statusOf(int fd) noexcept {
    struct stat status {};
    return known(::fstat(fd, &status), status);
}

std::optional<FileStatus> statusOf(const std::string& path) noexcept {
    struct stat status {};
    return known(::stat(path.c_str(), &status), status);
}

std::optional<FileStatus> statusOfLink(const std::string& path) noexcept {
    struct stat status {};
    return known(::lstat(path.c_str(), &status), status);
}

bool setTimes(int fd, const FileStatus& status) noexcept {
    const timespec times[] = {asTimespec(status.accessed), asTimespec(status.modified)};
    return ::futimens(fd, times) == 0;
}

bool setTimesToNow(int fd) noexcept {
    return ::futimens(fd, nullptr) == 0;
}

}  // namespace vorn::common::internal
