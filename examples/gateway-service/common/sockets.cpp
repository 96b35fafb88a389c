#include "sockets.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

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

}  // namespace gateway
