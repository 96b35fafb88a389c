// SPDX-License-Identifier: MIT
#include "posix/openFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <utility>

#include "posix/fileStatus.h"
#include "posix/retry.h"

#ifdef __GLIBCXX__
#include <ext/stdio_filebuf.h>
#endif

namespace vorn::common::internal {

std::optional<int> openFlags(std::ios_base::openmode mode) noexcept {
    using std::ios_base;
    // The standard's table of modes; "binary" and "ate" play no part in it.
    const auto access = mode & (ios_base::in | ios_base::out | ios_base::trunc | ios_base::app);
    if (access == ios_base::out || access == (ios_base::out | ios_base::trunc)) {
        return O_CLOEXEC | O_WRONLY | O_CREAT | O_TRUNC;
    }
    if (access == ios_base::app || access == (ios_base::out | ios_base::app)) {
        return O_CLOEXEC | O_WRONLY | O_CREAT | O_APPEND;
    }
    if (access == ios_base::in) {
        return O_CLOEXEC | O_RDONLY;
    }
    if (access == (ios_base::in | ios_base::out)) {
        return O_CLOEXEC | O_RDWR;
    }
    if (access == (ios_base::in | ios_base::out | ios_base::trunc)) {
        return O_CLOEXEC | O_RDWR | O_CREAT | O_TRUNC;
    }
    if (access == (ios_base::in | ios_base::app) ||
        access == (ios_base::in | ios_base::out | ios_base::app)) {
        return O_CLOEXEC | O_RDWR | O_CREAT | O_APPEND;
    }
    return std::nullopt;
}

bool emptiesFile(std::ios_base::openmode mode) noexcept {
    const auto flags = openFlags(mode);
    return flags && (*flags & O_TRUNC) != 0;
}

Descriptor openFile(const std::string& path, int flags,
                    std::filesystem::perms permissions) noexcept {
    return Descriptor(
        retryOnEintr([&] { return ::open(path.c_str(), flags, modeBits(permissions)); }));
}

Descriptor openForReading(const std::string& path) noexcept {
    return openFile(path, O_RDONLY | O_CLOEXEC);
}

Descriptor openOrCreate(const std::string& path, std::filesystem::perms permissions) noexcept {
    return openFile(path, O_WRONLY | O_CREAT | O_CLOEXEC, permissions);
}

bool setPermissions(int fd, std::filesystem::perms permissions) noexcept {
    return ::fchmod(fd, modeBits(permissions)) == 0;
}

bool isRegularOrMissing(const std::string& path) noexcept {
    if (const auto status = statusOfLink(path)) {
        return status->isRegular();
    }
    return errno == ENOENT || errno == ENOTDIR;
}

std::int64_t sizeBySeeking(int fd) noexcept {
    constexpr std::int64_t kSmall = 1 << 20;
    const std::int64_t size = ::lseek(fd, 0, SEEK_END);
    if (size <= 0 || size > kSmall) {
        const auto status = size < 0 ? std::nullopt : statusOf(fd);
        if (!status || status->isDirectory()) {
            return -1;
        }
    }
    return ::lseek(fd, 0, SEEK_SET) == 0 ? size : -1;
}

bool openBuffer(std::filebuf& buffer, const std::string& path, std::ios_base::openmode mode,
                std::filesystem::perms permissions) {
#ifdef __GLIBCXX__
    // The library's open knows neither close-on-exec nor permissions, so the file is opened here
    // and handed over.
    const auto flags = openFlags(mode);
    if (!flags) {
        return false;
    }
    Descriptor file = openFile(path, *flags, permissions);
    if (!file) {
        return false;
    }
    if ((*flags & (O_APPEND | O_ACCMODE)) == (O_APPEND | O_WRONLY)) {
        // The library's own streams do it for appending, so that tellp answers from the start on.
        static_cast<void>(::lseek(file.get(), 0, SEEK_END));
    }
    std::optional<__gnu_cxx::stdio_filebuf<char>> opened;
    try {
        opened.emplace(file.get(), mode);
    } catch (...) {
        // It throws for want of memory after it has taken the descriptor, which its base class has
        // closed by now; the number may be a stranger's already.
        static_cast<void>(file.release());
        throw;
    }
    if (!opened->is_open()) {
        return false;
    }
    static_cast<void>(file.release());
    // Sliced: only the base class's part, the buffer itself, can become the stream's own.
    buffer = std::move(static_cast<std::filebuf&>(*opened));
    if ((mode & std::ios_base::ate) != 0 &&
        buffer.pubseekoff(0, std::ios_base::end, mode) == std::streampos(std::streamoff(-1))) {
        buffer.close();
        return false;
    }
    return true;
#else
    // Other libraries open their streams close-on-exec themselves.
    const auto flags = openFlags(mode);
    if (flags && (*flags & O_CREAT) != 0) {
        const Descriptor created = openFile(path, O_CLOEXEC | O_WRONLY | O_CREAT, permissions);
    }
    return buffer.open(path, mode) != nullptr;
#endif
}

}  // namespace vorn::common::internal
