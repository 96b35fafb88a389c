#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

#include "FileDescriptor.h"
#include "LineBuffer.h"

namespace gateway {

/// No service answers: nobody listens, or the connection broke. The text says what happened.
class ConnectionError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A connection to a service, one line at a time.
class Connection {
  public:
    /// Throws `ConnectionError` when nobody listens at `path`.
    explicit Connection(const std::string& path);

    /// Sends a request (without its line feed). Throws `ConnectionError`.
    void send(const std::string& line);
    /// The next line, or nothing when none arrived within `limit`. Throws `ConnectionError` when
    /// the service closed the connection, or sent a line of more than 2 MiB.
    [[nodiscard]] std::optional<std::string> receive(std::chrono::milliseconds limit);
    /// The next line, waited for without limit.
    [[nodiscard]] std::string receive();

    [[nodiscard]] int descriptor() const { return socket_.get(); }

  private:
    FileDescriptor socket_;
    LineBuffer input_;
};

}  // namespace gateway
