#include "ListeningSocket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "sockets.h"

namespace gateway {

namespace {

// Whether `path` still names the open file: its former holder may have removed it meanwhile.
bool isAt(const std::string& path, int descriptor) {
    struct stat named {};
    struct stat open {};
    return ::stat(path.c_str(), &named) == 0 && ::fstat(descriptor, &open) == 0 &&
           named.st_ino == open.st_ino && named.st_dev == open.st_dev;
}

FileDescriptor takeLock(const std::string& path) {
    for (;;) {
        FileDescriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!lock) {
            throw std::system_error(errno, std::generic_category(), "cannot open \"" + path + "\"");
        }
        if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
            throw std::runtime_error("another service holds \"" + path + "\"");
        }
        if (isAt(path, lock.get())) {
            return lock;
        }
    }
}

// With the lock held nobody serves there, unless it is a program that knows nothing of the lock.
void removeStale(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return;
    }
    if (!S_ISSOCK(status.st_mode)) {
        throw std::runtime_error("\"" + path + "\" exists and is not a socket");
    }
    try {
        static_cast<void>(connectTo(path));
    } catch (const std::system_error& error) {
        if (error.code().value() == ECONNREFUSED) {
            ::unlink(path.c_str());
            return;
        }
        throw;
    }
    throw std::runtime_error("another service listens on \"" + path + "\"");
}

}  // namespace

FileLock::FileLock(std::string path) : path_(std::move(path)), lock_(takeLock(path_)) {}

FileLock::~FileLock() {
    ::unlink(path_.c_str());
}

ListeningSocket::ListeningSocket(std::string path)
    : path_(std::move(path)), lock_(path_ + ".lock") {
    removeStale(path_);
    socket_ = listenAt(path_);
}

ListeningSocket::~ListeningSocket() {
    remove();
}

void ListeningSocket::remove() const {
    ::unlink(path_.c_str());
}

}  // namespace gateway
