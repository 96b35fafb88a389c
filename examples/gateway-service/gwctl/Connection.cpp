#include "Connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <system_error>

#include "unixSocket.h"

namespace gateway {

namespace {

constexpr std::size_t kLongestLine = std::size_t{2} << 20U;

FileDescriptor connectOrFail(const std::string& path) {
    try {
        return connectTo(path);
    } catch (const std::system_error& error) {
        throw ConnectionError(error.what());
    }
}

}  // namespace

Connection::Connection(const std::string& path)
    : socket_(connectOrFail(path)), input_(kLongestLine) {}

void Connection::send(const std::string& line) {
    const std::string whole = line + "\n";
    std::size_t sent = 0;
    while (sent < whole.size()) {
        const ssize_t count =
            ::send(socket_.get(), whole.data() + sent, whole.size() - sent, MSG_NOSIGNAL);
        if (count >= 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            throw ConnectionError(std::string("the connection broke: ") + std::strerror(errno));
        }
    }
}

std::optional<std::string> Connection::receive(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        if (std::optional<Line> line = input_.next()) {
            if (line->problem != Line::Problem::None) {
                throw ConnectionError("the service sent something that is no line");
            }
            return std::move(line->text);
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd polled{socket_.get(), POLLIN, 0};
        const int wait = static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60000));
        if (::poll(&polled, 1, wait) <= 0) {
            if (std::chrono::steady_clock::now() >= deadline) {
                return std::nullopt;
            }
            continue;
        }
        std::array<char, 16384> block;
        const ssize_t count = ::recv(socket_.get(), block.data(), block.size(), 0);
        if (count == 0) {
            throw ConnectionError("the service closed the connection");
        }
        if (count > 0) {
            input_.append({block.data(), static_cast<std::size_t>(count)});
        } else if (errno != EINTR) {
            throw ConnectionError(std::string("the connection broke: ") + std::strerror(errno));
        }
    }
}

std::string Connection::receive() {
    for (;;) {
        if (std::optional<std::string> line = receive(std::chrono::hours(1))) {
            return *std::move(line);
        }
    }
}

}  // namespace gateway
