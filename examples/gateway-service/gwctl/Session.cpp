// SPDX-License-Identifier: MIT
#include "Session.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <system_error>
#include <utility>

#include "json.h"
#include "sockets.h"

namespace gateway {

namespace {

constexpr std::size_t kLongestLine = std::size_t{2} << 20U;
constexpr std::chrono::seconds kPatience(10);

FileDescriptor connectOrFail(const std::string& path) {
    try {
        return connectTo(path);
    } catch (const std::system_error& error) {
        throw ConnectionError(error.what());
    }
}

Reply::Node parse(std::string line) {
    try {
        return Reply::Node(std::move(line));
    } catch (const std::exception& error) {
        throw Misunderstanding("the service sent no JSON: " + std::string(error.what()));
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
        } else if (errno == EPIPE || errno == ECONNRESET) {
            return;
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

std::string textOrRaw(const Reply::Node& node) {
    const std::string raw(node.value.data, node.value.size);
    return raw[0] == '"' ? textOf(node) : raw;
}

Reply::Reply(std::string line) : line_(std::move(line)), document_(parse(line_)) {}

const Reply::Node* Reply::find(std::initializer_list<const char*> path) const {
    const Node* node = &document_;
    for (const char* name : path) {
        node = node->findMember(name);
        if (node == nullptr) {
            break;
        }
    }
    return node;
}

const Reply::Node& Reply::at(std::initializer_list<const char*> path) const {
    const Node* node = find(path);
    if (node == nullptr) {
        throw Misunderstanding("the service's answer has no \"" + std::string(*(path.end() - 1)) +
                               "\": " + line_);
    }
    return *node;
}

std::string Reply::text(std::initializer_list<const char*> path) const {
    return textOrRaw(at(path));
}

// A notice may cross a request: it is no answer, and is remembered.
bool Session::isNotice(const Reply& reply) {
    const Reply::Node* notice = reply.find({"notice"});
    unbound_ = unbound_ || (notice != nullptr && textOrRaw(*notice) == "unbound");
    return notice != nullptr;
}

Reply Session::ask(const std::string& request) {
    connection_.send(request);
    for (;;) {
        std::optional<std::string> line = connection_.receive(kPatience);
        if (!line) {
            throw ConnectionError("the service does not answer");
        }
        Reply reply(*std::move(line));
        if (isNotice(reply)) {
            continue;
        }
        const std::string kind = reply.text({"answer"});
        const bool isRefusal = kind == "refused";
        if (!isRefusal && kind != "error") {
            return reply;
        }
        if (json_) {
            std::cout << reply.line() << std::endl;
        }
        if (isRefusal) {
            throw Refusal(reply.text({"reason"}));
        }
        throw Misunderstanding(reply.text({"error"}));
    }
}

Reply Session::nextResult() {
    for (;;) {
        Reply reply(connection_.receive());
        if (!isNotice(reply)) {
            return reply;
        }
    }
}

void Session::takeNotice() {
    if (std::optional<std::string> line = connection_.receive(std::chrono::milliseconds(0))) {
        static_cast<void>(isNotice(Reply(*std::move(line))));
    }
}

void Session::print(const Reply& reply, const std::string& text) const {
    std::cout << (json_ ? reply.line() : text) << std::endl;
}

}  // namespace gateway
