// SPDX-License-Identifier: MIT
#include "Server.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <thread>
#include <utility>

#include "Log.h"
#include "answers.h"

namespace gateway {

namespace {

constexpr std::size_t kMuchOutput = 65536;
// An answer with both outputs of a program, each byte of them written as \u0000.
constexpr std::size_t kLongestAnswer = 2 * 6 * kMostOutput + 1024;
// What is owed has room, whatever it weighs.
constexpr unsigned kMostUnanswered = 2;
static_assert(kMuchOutput + kMostUnanswered * kLongestAnswer < Client::kMostOutput);
constexpr unsigned kMostAccepts = 16;
constexpr std::chrono::milliseconds kAcceptPause(200);
constexpr std::chrono::seconds kFlushTime(2);
constexpr std::size_t kFixedDescriptors = 4;

bool isTemporary(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

Peer peerOf(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return {};
    }
    return {credentials.uid, credentials.pid};
}

// What lacks memory costs the one client for whom it is done its connection.
template <typename Action>
void breakingWithoutMemory(Client& client, Action action) {
    try {
        action();
    } catch (const std::bad_alloc&) {
        client.breakConnection();
    }
}

}  // namespace

Client::Client(FileDescriptor socket)
    : socket_(std::move(socket)), peer_(peerOf(socket_.get())), input_(kLongestLine) {}

void Client::receive() {
    std::array<char, 16384> block;
    const ssize_t count = ::recv(descriptor(), block.data(), block.size(), 0);
    if (count > 0) {
        lastActivity_ = Clock::now();
        input_.append({block.data(), static_cast<std::size_t>(count)});
    } else if (count == 0) {
        inputEnded_ = true;
        input_.end();
    } else if (!isTemporary(errno)) {
        lost_ = true;
    }
}

bool Client::mayAsk() const {
    return !lost_ && unanswered_ < kMostUnanswered && output_.size() - sent_ < kMuchOutput;
}

std::optional<Line> Client::nextLine() {
    if (!mayAsk()) {
        return std::nullopt;
    }
    std::optional<Line> line = input_.next();
    if (line) {
        ++unanswered_;
        hasAsked_ = true;
    }
    return line;
}

bool Client::wantsToReceive() const {
    return !inputEnded_ && mayAsk();
}

void Client::queue(const std::string& line, Delivery delivery) {
    if (delivery == Delivery::Result) {
        --results_;
    } else if (delivery != Delivery::Notice) {
        --unanswered_;
    }
    if (delivery == Delivery::AnswerBeforeResult) {
        ++results_;
    }
    if (delivery == Delivery::AnswerAndStay || delivery == Delivery::AnswerAndGo) {
        stays_ = delivery == Delivery::AnswerAndStay;
    }
    if (output_.size() - sent_ + line.size() >= kMostOutput) {
        lost_ = true;
        log::warning("a client takes no results and is given up: user " +
                     std::to_string(peer_.user) + ", process " + std::to_string(peer_.process));
        return;
    }
    output_.erase(0, sent_);
    sent_ = 0;
    output_ += line;
    output_ += '\n';
}

void Client::flush() {
    while (wantsToSend() && !lost_) {
        const ssize_t count = ::send(descriptor(), output_.data() + sent_, output_.size() - sent_,
                                     MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            lastActivity_ = Clock::now();
            sent_ += static_cast<std::size_t>(count);
        } else if (isTemporary(errno)) {
            return;
        } else {
            lost_ = true;
        }
    }
}

Server::Server(Sources sources, const Limits& limits)
    : sources_(sources), limits_(limits), newLimits_(limits) {}

void Server::send(ClientId client, std::string line, Delivery delivery) {
    {
        const std::lock_guard lock(mutex_);
        outbox_.push_back({client, std::move(line), delivery});
    }
    wake_.set();
}

void Server::setLimits(const Limits& limits) {
    {
        const std::lock_guard lock(mutex_);
        newLimits_ = limits;
    }
    wake_.set();
}

void Server::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopRequested_ = true;
    }
    wake_.set();
}

std::size_t Server::clientCount() const {
    const std::lock_guard lock(mutex_);
    return clientCount_;
}

void Server::run(Events& events) {
    while (!finished()) {
        std::vector<pollfd> polled = descriptors();
        if (::poll(polled.data(), polled.size(), pollTimeout()) < 0) {
            if (errno != EINTR) {
                std::this_thread::sleep_for(kAcceptPause);  // no memory: not at full speed
            }
            continue;
        }
        wake_.clear();
        deliver();
        if (const std::uint64_t times = sources_.stopSignal.clear()) {
            events.onStopSignal(times);
        }
        if (sources_.reloadSignal.clear() != 0) {
            events.onReloadSignal();
        }
        auto place = polled.begin() + kFixedDescriptors;
        for (auto& [id, client] : clients_) {
            const short happened = (place++)->revents;
            breakingWithoutMemory(
                client, [&, id = id, &client = client] { serve(id, client, happened, events); });
        }
        closeIdle();
        removeFinished(events);
        if (acceptsNow() && (polled[3].revents != 0 || acceptFailed_)) {
            acceptSome(events);
        }
        const std::lock_guard lock(mutex_);
        clientCount_ = clients_.size();
    }
    clients_.clear();
}

std::vector<pollfd> Server::descriptors() const {
    std::vector<pollfd> polled;
    polled.reserve(kFixedDescriptors + clients_.size());
    polled.push_back({wake_.get(), POLLIN, 0});
    polled.push_back({sources_.stopSignal.get(), POLLIN, 0});
    polled.push_back({sources_.reloadSignal.get(), POLLIN, 0});
    polled.push_back({acceptsNow() ? sources_.socket.get() : -1, POLLIN, 0});
    for (const auto& [id, client] : clients_) {
        const int wanted = (client.wantsToReceive() && !ending_ ? POLLIN : 0) |
                           (client.wantsToSend() ? POLLOUT : 0);
        polled.push_back({client.descriptor(), static_cast<short>(wanted), 0});
    }
    return polled;
}

int Server::pollTimeout() const {
    if (ending_) {
        return 50;
    }
    if (acceptFailed_) {
        return static_cast<int>(kAcceptPause.count());
    }
    auto next = Clock::time_point::max();
    for (const auto& [id, client] : clients_) {
        if (client.isIdle()) {
            next = std::min(next, client.lastActivity() + limits_.idle);
        }
    }
    if (next == Clock::time_point::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3600000));
}

bool Server::acceptsNow() const {
    return !ending_ && (!acceptFailed_ || Clock::now() >= acceptAgain_);
}

// A few at a time: somebody who connects in a loop must not keep the loop from everybody else.
void Server::acceptSome(Events& events) {
    for (unsigned count = 0; count < kMostAccepts; ++count) {
        FileDescriptor socket(
            ::accept4(sources_.socket.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket && (errno == EINTR || errno == ECONNABORTED)) {
            continue;
        }
        const bool failed = !socket && errno != EAGAIN && errno != EWOULDBLOCK;
        if (std::exchange(acceptFailed_, failed) != failed) {
            events.onAccepting(!failed);
        }
        if (!socket) {
            acceptAgain_ = Clock::now() + kAcceptPause;
            return;
        }
        admit(std::move(socket));
    }
}

void Server::admit(FileDescriptor socket) {
    Client client(std::move(socket));
    const auto sameUser = std::count_if(
        clients_.begin(), clients_.end(),
        [&client](const auto& entry) { return entry.second.peer().user == client.peer().user; });
    const bool full = clients_.size() >= limits_.clients;
    if (!full && static_cast<std::size_t>(sameUser) < limits_.perUser) {
        clients_.try_emplace(nextId_++, std::move(client));
        return;
    }
    client.queue(refusal(full ? "too many clients are connected"
                              : "too many clients of this user are connected"),
                 Delivery::Notice);
    client.flush();
}

void Server::deliver() {
    std::vector<Letter> letters;
    {
        const std::lock_guard lock(mutex_);
        letters.swap(outbox_);
        limits_ = newLimits_;
        if (stopRequested_ && !ending_) {
            ending_ = true;
            flushUntil_ = Clock::now() + kFlushTime;
        }
    }
    for (const Letter& letter : letters) {
        if (const auto client = clients_.find(letter.client); client != clients_.end()) {
            breakingWithoutMemory(client->second,
                                  [&] { client->second.queue(letter.line, letter.delivery); });
        }
    }
}

void Server::serve(ClientId id, Client& client, short happened, Events& events) {
    if ((happened & POLLIN) != 0) {
        client.receive();
    } else if ((happened & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
        client.breakConnection();
    }
    client.flush();  // first: the room that it makes lets lines be asked that came long ago
    while (!ending_) {
        std::optional<Line> line = client.nextLine();
        if (!line) {
            break;
        }
        events.onLine(id, client.peer(), std::move(*line));
    }
}

void Server::closeIdle() {
    const auto latest = Clock::now() - limits_.idle;
    for (auto& [id, client] : clients_) {
        if (client.isIdle() && client.lastActivity() <= latest) {
            client.queue(idleNotice(), Delivery::Notice);
            client.flush();
            client.breakConnection();
        }
    }
}

void Server::removeFinished(Events& events) {
    std::erase_if(clients_, [&events](const auto& entry) {
        const bool gone = entry.second.lost() || entry.second.done();
        if (gone && entry.second.hasAsked()) {
            events.onGone(entry.first);
        }
        return gone;
    });
}

bool Server::finished() const {
    if (!ending_) {
        return false;
    }
    return Clock::now() >= flushUntil_ ||
           std::none_of(clients_.begin(), clients_.end(),
                        [](const auto& entry) { return entry.second.wantsToSend(); });
}

}  // namespace gateway
