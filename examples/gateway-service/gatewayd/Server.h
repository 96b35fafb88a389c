#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Client.h"
#include "EventDescriptor.h"
#include "ListeningSocket.h"

struct pollfd;

namespace gateway {

/// A connection's number; never used again for another one.
using ClientId = std::uint64_t;

/// Serves lines over a listening socket: one thread, one poll loop, non-blocking sockets.
///
/// Threads: `run` belongs to one thread, on which the events are called; `send` and `stop` may be
/// called from any thread, from within an event too.
class Server {
  public:
    /// What the loop reports. A call must not block: everybody waits for it.
    class Events {
      public:
        virtual ~Events() = default;
        /// Each line must be answered by one `send` with `Answer` or `AnswerBeforeResult`.
        virtual void onLine(ClientId client, Line line) = 0;
        virtual void onGone(ClientId client) = 0;
        /// A new connection could (not) be accepted, for want of descriptors or memory.
        virtual void onAccepting(bool possible) = 0;
        /// A signal asks the service to stop.
        virtual void onStopSignal() = 0;
    };

    /// Lifetime: `socket` and `stopSignal` must outlive the server.
    Server(const ListeningSocket& socket, const EventDescriptor& stopSignal, unsigned clientLimit);

    /// Serves until `stop`; what was sent before it still goes out, for two seconds at most.
    void run(Events& events);
    /// Queues a line (without its line feed). A client that is gone gets nothing; that is no error.
    void send(ClientId client, std::string line, Delivery delivery);
    void stop();
    [[nodiscard]] std::size_t clientCount() const;

  private:
    struct Letter {
        ClientId client;
        std::string line;
        Delivery delivery;
    };
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] std::vector<pollfd> descriptors() const;
    [[nodiscard]] int pollTimeout() const;
    [[nodiscard]] bool acceptsNow() const;
    void acceptAll(Events& events);
    void refuse(FileDescriptor socket);
    void deliver();
    void serve(ClientId id, Client& client, short happened, Events& events);
    void removeFinished(Events& events);
    [[nodiscard]] bool finished() const;

    const ListeningSocket& socket_;
    const EventDescriptor& stopSignal_;
    const unsigned clientLimit_;
    EventDescriptor wake_;
    std::map<ClientId, Client> clients_;
    ClientId nextId_ = 1;
    Clock::time_point acceptAgain_{};
    bool acceptFailed_ = false;
    Clock::time_point flushUntil_{};
    bool ending_ = false;

    mutable std::mutex mutex_;
    std::vector<Letter> outbox_;   // guarded by mutex_
    std::size_t clientCount_ = 0;  // guarded by mutex_
    bool stopRequested_ = false;   // guarded by mutex_
};

}  // namespace gateway
