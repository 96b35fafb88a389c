#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "FileDescriptor.h"
#include "LineBuffer.h"

namespace gateway {

/// What a message to a client means for the requests that it is waiting for.
enum class Delivery {
    Answer,              ///< the answer to a request, with nothing to follow
    AnswerBeforeResult,  ///< the answer to a request whose result follows later
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
    static constexpr std::size_t kLongestLine = 65536;
    static constexpr std::size_t kMostOutput = std::size_t{1} << 20U;

    explicit Client(FileDescriptor socket) : socket_(std::move(socket)), input_(kLongestLine) {}

    [[nodiscard]] int descriptor() const { return socket_.get(); }

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
    void breakConnection() { lost_ = true; }

  private:
    [[nodiscard]] bool mayAsk() const;

    FileDescriptor socket_;
    LineBuffer input_;
    std::string output_;
    std::size_t sent_ = 0;
    unsigned unanswered_ = 0;
    unsigned results_ = 0;  // announced and still to come
    bool inputEnded_ = false;
    bool lost_ = false;
};

}  // namespace gateway
