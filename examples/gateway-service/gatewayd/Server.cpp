#include "Server.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "answers.h"

namespace gateway {

namespace {

constexpr std::chrono::milliseconds kAcceptPause(200);
constexpr std::chrono::seconds kFlushTime(2);
constexpr std::size_t kFixedDescriptors = 3;

}  // namespace

Server::Server(const ListeningSocket& socket, const EventDescriptor& stopSignal,
               unsigned clientLimit)
    : socket_(socket), stopSignal_(stopSignal), clientLimit_(clientLimit) {}

void Server::send(ClientId client, std::string line, Delivery delivery) {
    {
        const std::lock_guard lock(mutex_);
        outbox_.push_back({client, std::move(line), delivery});
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
            continue;
        }
        wake_.clear();
        deliver();
        if (stopSignal_.clear()) {
            events.onStopSignal();
        }
        auto place = polled.begin() + kFixedDescriptors;
        for (auto& [id, client] : clients_) {
            serve(id, client, place->revents, events);
            ++place;
        }
        removeFinished(events);
        if (acceptsNow() && (polled[2].revents != 0 || acceptFailed_)) {
            acceptAll(events);
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
    polled.push_back({stopSignal_.get(), POLLIN, 0});
    polled.push_back({acceptsNow() ? socket_.get() : -1, POLLIN, 0});
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
    return acceptFailed_ ? static_cast<int>(kAcceptPause.count()) : -1;
}

bool Server::acceptsNow() const {
    return !ending_ && (!acceptFailed_ || Clock::now() >= acceptAgain_);
}

void Server::acceptAll(Events& events) {
    for (;;) {
        FileDescriptor socket(
            ::accept4(socket_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
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
        if (clients_.size() < clientLimit_) {
            clients_.try_emplace(nextId_++, std::move(socket));
        } else {
            refuse(std::move(socket));
        }
    }
}

void Server::refuse(FileDescriptor socket) {
    Client client(std::move(socket));
    client.queue(refusal("too many clients are connected"), Delivery::Notice);
    client.flush();
}

void Server::deliver() {
    std::vector<Letter> letters;
    {
        const std::lock_guard lock(mutex_);
        letters.swap(outbox_);
        if (stopRequested_ && !ending_) {
            ending_ = true;
            flushUntil_ = Clock::now() + kFlushTime;
        }
    }
    for (const Letter& letter : letters) {
        if (const auto client = clients_.find(letter.client); client != clients_.end()) {
            client->second.queue(letter.line, letter.delivery);
        }
    }
}

void Server::serve(ClientId id, Client& client, short happened, Events& events) {
    if ((happened & POLLIN) != 0) {
        client.receive();
    } else if ((happened & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
        client.breakConnection();
    }
    while (!ending_) {
        std::optional<Line> line = client.nextLine();
        if (!line) {
            break;
        }
        events.onLine(id, std::move(*line));
    }
    client.flush();
}

void Server::removeFinished(Events& events) {
    std::erase_if(clients_, [&events](const auto& entry) {
        const bool gone = entry.second.lost() || entry.second.done();
        if (gone) {
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
