// SPDX-License-Identifier: MIT
#include "Session.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
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
constexpr std::chrono::milliseconds kPause(20);
constexpr std::chrono::seconds kFarewell(2);

using Clock = std::chrono::steady_clock;

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60000));
}

void throwIfSet(const EventDescriptor* stop, std::chrono::milliseconds pause) {
    pollfd polled{stop == nullptr ? -1 : stop->get(), POLLIN, 0};
    if (::poll(&polled, 1, static_cast<int>(pause.count())) > 0) {
        throw ConnectionError("told to stop");
    }
}

// Nothing tells when a service takes connections again: it is tried until then.
FileDescriptor connectOrFail(const std::string& path, const Patience& patience) {
    const auto deadline = Clock::now() + patience.limit;
    try {
        for (;;) {
            if (FileDescriptor socket = connectAtOnce(path)) {
                return socket;
            }
            if (Clock::now() >= deadline) {
                throw ConnectionError("the service takes no connection");
            }
            throwIfSet(patience.stop, kPause);
        }
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

Connection::Connection(const std::string& path, const Patience& patience)
    : stop_(patience.stop), socket_(connectOrFail(path, patience)), input_(kLongestLine) {}

void Connection::wait(short events, Time deadline) const {
    pollfd polled[] = {{socket_.get(), events, 0},
                       {stop_ == nullptr ? -1 : stop_->get(), POLLIN, 0}};
    if (::poll(polled, 2, millisecondsUntil(deadline)) > 0 && polled[1].revents != 0) {
        throw ConnectionError("told to stop");
    }
}

void Connection::send(const std::string& line, Time deadline) {
    const std::string whole = line + "\n";
    std::size_t sent = 0;
    while (sent < whole.size()) {
        const ssize_t count =
            ::send(socket_.get(), whole.data() + sent, whole.size() - sent, MSG_NOSIGNAL);
        if (count >= 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno == EAGAIN) {
            if (Clock::now() >= deadline) {
                throw ConnectionError("the service does not read");
            }
            wait(POLLOUT, deadline);
        } else if (errno == EPIPE || errno == ECONNRESET) {
            return;
        } else if (errno != EINTR) {
            throw ConnectionError(std::string("the connection broke: ") + std::strerror(errno));
        }
    }
}

std::optional<std::string> Connection::takeLine() {
    std::optional<Line> line = input_.next();
    if (!line) {
        return std::nullopt;
    }
    if (line->problem != Line::Problem::None) {
        throw ConnectionError("the service sent something that is no line");
    }
    return std::move(line->text);
}

std::optional<std::string> Connection::receive(std::chrono::milliseconds limit) {
    return receive(Clock::now() + limit);
}

std::optional<std::string> Connection::receive(Time deadline) {
    for (;;) {
        if (std::optional<std::string> line = takeLine()) {
            return line;
        }
        wait(POLLIN, deadline);
        std::array<char, 16384> block;
        const ssize_t count = ::recv(socket_.get(), block.data(), block.size(), 0);
        if (count == 0) {
            throw ConnectionError("the service closed the connection");
        }
        if (count > 0) {
            input_.append({block.data(), static_cast<std::size_t>(count)});
        } else if (errno != EINTR && errno != EAGAIN) {
            throw ConnectionError(std::string("the connection broke: ") + std::strerror(errno));
        }
        // Looked at in every turn: bytes without end are no line either.
        if (Clock::now() >= deadline) {
            return takeLine();
        }
    }
}

std::string Connection::receive() {
    return receive(Time::max()).value();
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

std::uint32_t Reply::number(std::initializer_list<const char*> path, std::uint32_t most) const {
    const std::string_view raw = at(path).value.view();
    const char* end = raw.data() + raw.size();
    std::uint32_t number = 0;
    const auto [stop, error] = std::from_chars(raw.data(), end, number);
    if (error != std::errc() || stop != end || number > most) {
        throw Misunderstanding("the service's \"" + std::string(*(path.end() - 1)) +
                               "\" is no number from 0 to " + std::to_string(most) + ": " + line_);
    }
    return number;
}

// A notice may cross a request: it is no answer, and is remembered.
bool Session::isNotice(const Reply& reply) {
    const Reply::Node* notice = reply.find({"notice"});
    unbound_ = unbound_ || (notice != nullptr && textOrRaw(*notice) == "unbound");
    return notice != nullptr;
}

Reply Session::ask(const std::string& request) {
    const auto deadline = Clock::now() + limit_;
    connection_.send(request, deadline);
    while (Clock::now() < deadline) {
        std::optional<std::string> line = connection_.receive(deadline);
        if (!line) {
            break;
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
    throw ConnectionError("the service does not answer");
}

Reply Session::nextResult() {
    for (;;) {
        Reply reply(connection_.receive());
        if (!isNotice(reply)) {
            return reply;
        }
    }
}

void Session::takeNotices() {
    std::optional<std::string> line = connection_.receive(std::chrono::milliseconds(0));
    // What was read with it would not make the socket readable again.
    for (; line; line = connection_.takeLine()) {
        static_cast<void>(isNotice(Reply(*std::move(line))));
    }
}

void Session::takeLeave() {
    connection_.disregardStop();
    limit_ = std::min<std::chrono::milliseconds>(limit_, kFarewell);
}

void Session::print(const Reply& reply, const std::vector<std::string>& lines) const {
    if (json_) {
        std::cout << reply.line() << '\n';
    } else {
        for (const std::string& line : lines) {
            std::cout << printable(line, '?') << '\n';
        }
    }
    std::cout << std::flush;
}

}  // namespace gateway
