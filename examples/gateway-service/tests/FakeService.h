// SPDX-License-Identifier: MIT
#pragma once

#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "descriptors.h"
#include "helpers/TempDir.h"
#include "sockets.h"

namespace gateway_tests {

/// A service that behaves as it is told to on each connection, one after the other. It goes away
/// after 20 seconds, so that a client that would wait without end fails instead.
class FakeService {
  public:
    using Behaviour = std::function<void(int connection, const std::function<bool()>& over)>;

    explicit FakeService(Behaviour behaviour)
        : listening_(gateway::listenAt(path())),
          thread_([this, behaviour = std::move(behaviour)] { serve(behaviour); }) {}
    ~FakeService() {
        stop_.set();
        thread_.join();
    }
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

    [[nodiscard]] std::string path() const { return directory_.file("s"); }
    [[nodiscard]] unsigned connections() const { return connections_; }
    [[nodiscard]] const helpers::TempDir& directory() const { return directory_; }

  private:
    [[nodiscard]] bool over() const {
        pollfd polled{stop_.get(), POLLIN, 0};
        return std::chrono::steady_clock::now() > end_ || ::poll(&polled, 1, 0) > 0;
    }
    void serve(const Behaviour& behaviour) {
        while (!over()) {
            pollfd polled[] = {{listening_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
            if (::poll(polled, 2, 100) > 0 && polled[0].revents != 0) {
                const gateway::FileDescriptor connection(
                    ::accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC));
                ++connections_;
                behaviour(connection.get(), [this] { return over(); });
            }
        }
    }

    helpers::TempDir directory_;
    std::atomic<unsigned> connections_{0};
    gateway::EventDescriptor stop_;
    const std::chrono::steady_clock::time_point end_ =
        std::chrono::steady_clock::now() + std::chrono::seconds(20);
    gateway::FileDescriptor listening_;
    std::thread thread_;
};

/// Reads and answers nothing until the client goes, or it is over.
inline void beMute(int connection, const std::function<bool()>& over) {
    pollfd polled{connection, POLLRDHUP, 0};
    while (!over() && ::poll(&polled, 1, 20) == 0) {
    }
}

/// Sends `bytes` again and again.
inline FakeService::Behaviour flood(const std::string& bytes) {
    return [bytes](int connection, const std::function<bool()>& over) {
        while (!over()) {
            pollfd polled{connection, POLLOUT, 0};
            ::poll(&polled, 1, 20);
            if (::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0 &&
                errno != EAGAIN) {
                return;
            }
        }
    };
}

/// Waits for a request, sends `bytes`, and nothing more.
inline FakeService::Behaviour answer(const std::string& bytes) {
    return [bytes](int connection, const std::function<bool()>& over) {
        pollfd polled{connection, POLLIN, 0};
        while (!over() && ::poll(&polled, 1, 20) == 0) {
        }
        ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        beMute(connection, over);
    };
}

}  // namespace gateway_tests
