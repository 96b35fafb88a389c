// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <vorn/common/lwjson/Deserializer.h>

#include "LineBuffer.h"
#include "descriptors.h"

namespace gateway {

/// No service answers: nobody listens, or the connection broke. The text says what happened.
class ConnectionError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The service said that it cannot do it now. The text is its reason.
class Refusal : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The service did not understand a request, or said something that gwctl does not understand.
class Misunderstanding : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// How long a service is waited for.
struct Patience {
    std::chrono::milliseconds limit{10000};  ///< for a connection, and for an answer
    const EventDescriptor* stop = nullptr;   ///< ends every wait once it is set
};

/// A connection to a service, one line at a time.
class Connection {
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// Throws `ConnectionError` when nobody listens at `path`, or nobody takes the connection in
    /// time. Lifetime: the descriptor in `patience` must outlive the connection.
    explicit Connection(const std::string& path, const Patience& patience = {});

    /// Sends a request (without its line feed). Throws `ConnectionError`, which a service that has
    /// not read it at `deadline` is too; not when the service has closed the connection, because it
    /// may have said why: `receive` tells.
    void send(const std::string& line, Time deadline = Time::max());
    /// The next line, or nothing when none arrived within `limit`. Throws `ConnectionError` when
    /// the service closed the connection, or sent a line of more than 2 MiB.
    [[nodiscard]] std::optional<std::string> receive(std::chrono::milliseconds limit);
    /// The same until `deadline`; what has arrived counts even after it.
    [[nodiscard]] std::optional<std::string> receive(Time deadline);
    /// The next line, waited for without limit.
    [[nodiscard]] std::string receive();
    /// The next line of those that were read together with others.
    [[nodiscard]] std::optional<std::string> takeLine();

    /// Waits go on although `stop` was set.
    void disregardStop() { stop_ = nullptr; }
    [[nodiscard]] int descriptor() const { return socket_.get(); }

  private:
    // Throws `ConnectionError` once `stop` is set.
    void wait(short events, Time deadline) const;

    const EventDescriptor* stop_;
    FileDescriptor socket_;
    LineBuffer input_;
};

/// One line of the service, parsed. Members are reached by their path: `text({"service",
/// "health"})`. A missing member is a `Misunderstanding`.
class Reply {
  public:
    using Node = vorn::common::lwjson::Deserializer;

    explicit Reply(std::string line);

    [[nodiscard]] const std::string& line() const { return line_; }
    [[nodiscard]] const Node* find(std::initializer_list<const char*> path) const;
    [[nodiscard]] const Node& at(std::initializer_list<const char*> path) const;
    /// A string without its quotes and escapes, anything else as it is written.
    [[nodiscard]] std::string text(std::initializer_list<const char*> path) const;
    /// A whole number from 0 to `most`; anything else is a `Misunderstanding`.
    [[nodiscard]] std::uint32_t number(std::initializer_list<const char*> path,
                                       std::uint32_t most) const;

  private:
    std::string line_;
    Node document_;
};

/// The text of a node: a string without its quotes and escapes, anything else as it is written.
[[nodiscard]] std::string textOrRaw(const Reply::Node& node);

/// A conversation with a service in which lines are shown as they are when a program reads them.
class Session {
  public:
    Session(const std::string& socket, bool json, const Patience& patience = {})
        : connection_(socket, patience), json_(json), limit_(patience.limit) {}

    /// Sends a request and returns its answer. Throws `Refusal`, `Misunderstanding` or
    /// `ConnectionError`, which a service that has not answered in time is too, whatever else it
    /// sends.
    [[nodiscard]] Reply ask(const std::string& request);
    /// The next result, waited for without limit. Throws `ConnectionError` or `Misunderstanding`.
    [[nodiscard]] Reply nextResult();
    /// Whether the service has said unasked, since the connection exists, that it ends a binding.
    [[nodiscard]] bool unbound() const { return unbound_; }
    /// Takes what has arrived although nobody asked for it. Throws as `ask` does.
    void takeNotices();
    /// From now on an answer has two seconds, `stop` or not: for who was told to end, and says so.
    void takeLeave();

    /// Prints the line for a program, or `lines` for a person: no character of them commands the
    /// terminal, or ends its line.
    void print(const Reply& reply, const std::vector<std::string>& lines) const;
    [[nodiscard]] bool json() const { return json_; }
    [[nodiscard]] int descriptor() const { return connection_.descriptor(); }

  private:
    [[nodiscard]] bool isNotice(const Reply& reply);

    Connection connection_;
    bool json_;
    std::chrono::milliseconds limit_;
    bool unbound_ = false;
};

}  // namespace gateway
