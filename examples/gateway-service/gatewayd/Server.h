// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "LineBuffer.h"
#include "descriptors.h"
#include "sockets.h"

struct pollfd;

namespace gateway {

/// A connection's number; never used again for another one.
using ClientId = std::uint64_t;

/// Who is at the other end of a connection, as the kernel knows it.
struct Peer {
    uid_t user = static_cast<uid_t>(-1);
    pid_t process = 0;
};

/// What a message to a client means for the requests that it is waiting for.
enum class Delivery {
    Answer,              ///< the answer to a request, with nothing to follow
    AnswerBeforeResult,  ///< the answer to a request whose result follows later
    AnswerAndStay,       ///< an answer after which the client may be silent for as long as it likes
    AnswerAndGo,         ///< an answer after which it may not any more
    Result,              ///< a result that was announced
    Notice               ///< nothing that the client asked for
};

/// One connection, seen by the server's loop alone: bounded input, bounded output, and how many
/// answers the service still owes.
///
/// A client that does not read its answers, or asks faster than it is answered, is no longer read
/// from; its requests then wait in its own socket. One that lets results pile up all the same is
/// given up.
class Client {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t kLongestLine = 65536;
    static constexpr std::size_t kMostOutput = std::size_t{1} << 20U;

    explicit Client(FileDescriptor socket);

    [[nodiscard]] int descriptor() const { return socket_.get(); }
    [[nodiscard]] const Peer& peer() const { return peer_; }

    /// Reads at most one block, so that no client keeps the loop for itself.
    void receive();
    /// The next line that may be handled now; it then counts as a request without an answer.
    [[nodiscard]] std::optional<Line> nextLine();
    void queue(const std::string& line, Delivery delivery);
    /// Sends as much as the socket takes.
    void flush();

    [[nodiscard]] bool wantsToReceive() const;
    [[nodiscard]] bool wantsToSend() const { return sent_ < output_.size(); }
    /// The connection broke or the client let its output grow beyond the limit.
    [[nodiscard]] bool lost() const { return lost_; }
    /// The client has said everything and got everything.
    [[nodiscard]] bool done() const {
        return input_.exhausted() && unanswered_ == 0 && results_ == 0 && !wantsToSend();
    }
    /// It is served for no reason: no answer or result is owed, and it is not bound.
    [[nodiscard]] bool isIdle() const { return unanswered_ == 0 && results_ == 0 && !stays_; }
    /// When bytes went over the connection last.
    [[nodiscard]] Clock::time_point lastActivity() const { return lastActivity_; }
    [[nodiscard]] bool hasAsked() const { return hasAsked_; }
    void breakConnection() { lost_ = true; }

  private:
    [[nodiscard]] bool mayAsk() const;

    FileDescriptor socket_;
    Peer peer_;
    LineBuffer input_;
    std::string output_;
    std::size_t sent_ = 0;
    unsigned unanswered_ = 0;
    unsigned results_ = 0;  // announced and still to come
    Clock::time_point lastActivity_ = Clock::now();
    bool hasAsked_ = false;
    bool stays_ = false;
    bool inputEnded_ = false;
    bool lost_ = false;
};

/// Serves lines over a listening socket: one thread, one poll loop, non-blocking sockets.
///
/// Threads: `run` belongs to one thread, on which the events are called; the other operations may
/// be called from any thread, from within an event too.
class Server {
  public:
    /// What the loop reports. A call must not block: everybody waits for it.
    class Events {
      public:
        virtual ~Events() = default;
        /// Each line must be answered by one `send` with one of the answers.
        virtual void onLine(ClientId client, const Peer& peer, Line line) = 0;
        /// One that has said a line is gone.
        virtual void onGone(ClientId client) = 0;
        /// A new connection could (not) be accepted, for want of descriptors or memory.
        virtual void onAccepting(bool possible) = 0;
        /// So many signals ask the service to stop.
        virtual void onStopSignal(std::uint64_t times) = 0;
        virtual void onReloadSignal() = 0;
    };

    /// What bounds the connections; all of them at least 1.
    struct Limits {
        unsigned clients;           ///< connections at once
        unsigned perUser;           ///< of one user
        std::chrono::seconds idle;  ///< a connection that is idle for so long is closed
    };

    /// What wakes the loop from outside. Lifetime: all must outlive the server.
    struct Sources {
        const ListeningSocket& socket;
        const EventDescriptor& stopSignal;
        const EventDescriptor& reloadSignal;
    };

    Server(Sources sources, const Limits& limits);

    /// Serves until `stop`; what was sent before it still goes out, for two seconds at most.
    void run(Events& events);
    /// Queues a line (without its line feed). A client that is gone gets nothing; that is no error.
    void send(ClientId client, std::string line, Delivery delivery);
    void setLimits(const Limits& limits);
    void stop();
    [[nodiscard]] std::size_t clientCount() const;

  private:
    struct Letter {
        ClientId client;
        std::string line;
        Delivery delivery;
    };
    using Clock = Client::Clock;

    [[nodiscard]] std::vector<pollfd> descriptors() const;
    [[nodiscard]] int pollTimeout() const;
    [[nodiscard]] bool acceptsNow() const;
    void acceptSome(Events& events);
    void admit(FileDescriptor socket);
    void deliver();
    void serve(ClientId id, Client& client, short happened, Events& events);
    void closeIdle();
    void removeFinished(Events& events);
    [[nodiscard]] bool finished() const;

    const Sources sources_;
    EventDescriptor wake_;
    Limits limits_;
    std::map<ClientId, Client> clients_;
    ClientId nextId_ = 1;
    Clock::time_point acceptAgain_{};
    bool acceptFailed_ = false;
    Clock::time_point flushUntil_{};
    bool ending_ = false;

    mutable std::mutex mutex_;
    std::vector<Letter> outbox_;   // guarded by mutex_
    Limits newLimits_;             // guarded by mutex_
    std::size_t clientCount_ = 0;  // guarded by mutex_
    bool stopRequested_ = false;   // guarded by mutex_
};

}  // namespace gateway
