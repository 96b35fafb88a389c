// SPDX-License-Identifier: MIT
#include "sockets.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace gateway {

namespace {

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        fail(ENAMETOOLONG, "socket path \"" + path + "\"");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

FileDescriptor openSocket(int flags) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    if (!socket) {
        fail(errno, "socket");
    }
    return socket;
}

// Closing a passed descriptor may take as long as its sender likes (SO_LINGER). Connections inherit
// this; Linux before 6.16 knows nothing of it.
void refuseDescriptors(int socket) {
    constexpr int passRights = 83;  // SO_PASSRIGHTS
    const int off = 0;
    ::setsockopt(socket, SOL_SOCKET, passRights, &off, sizeof off);
}

constexpr const char* kSystemSocket = "/run/gatewayd/gatewayd.sock";

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// Empty for root, and for a user without a run-time directory.
std::string usersSocket() {
    const std::string directory = variable("XDG_RUNTIME_DIR");
    return ::geteuid() == 0 || directory.empty() ? "" : directory + "/gatewayd/gatewayd.sock";
}

}  // namespace

std::string defaultSocket() {
    const std::string named = variable("GATEWAYD_SOCKET");
    const std::string users = usersSocket();
    return !named.empty() ? named : !users.empty() ? users : kSystemSocket;
}

std::string defaultSocketForClient() {
    const std::string named = variable("GATEWAYD_SOCKET");
    const std::string users = usersSocket();
    const bool runs = !users.empty() && ::access(users.c_str(), F_OK) == 0;
    return !named.empty() ? named : runs ? users : kSystemSocket;
}

FileDescriptor listenAt(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    FileDescriptor socket = openSocket(SOCK_NONBLOCK);
    const mode_t before = ::umask(0117);
    const int bound = ::bind(socket.get(), generic(address), sizeof address);
    const int error = errno;
    ::umask(before);
    if (bound != 0) {
        fail(error, "cannot bind \"" + path + "\"");
    }
    refuseDescriptors(socket.get());
    if (::listen(socket.get(), SOMAXCONN) != 0) {
        fail(errno, "cannot listen on \"" + path + "\"");
    }
    return socket;
}

FileDescriptor connectTo(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    FileDescriptor socket = openSocket(0);
    while (::connect(socket.get(), generic(address), sizeof address) != 0) {
        if (errno != EINTR) {
            fail(errno, "cannot connect to \"" + path + "\"");
        }
    }
    return socket;
}

FileDescriptor connectAtOnce(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    FileDescriptor socket = openSocket(SOCK_NONBLOCK);
    if (::connect(socket.get(), generic(address), sizeof address) == 0) {
        return socket;
    }
    if (errno != EAGAIN && errno != EINTR) {
        fail(errno, "cannot connect to \"" + path + "\"");
    }
    return {};
}

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
