// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>

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

/// A connection to a service, one line at a time.
class Connection {
  public:
    /// Throws `ConnectionError` when nobody listens at `path`.
    explicit Connection(const std::string& path);

    /// Sends a request (without its line feed). Throws `ConnectionError`; not when the service has
    /// closed the connection, because it may have said why: `receive` tells.
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

  private:
    std::string line_;
    Node document_;
};

/// The text of a node: a string without its quotes and escapes, anything else as it is written.
[[nodiscard]] std::string textOrRaw(const Reply::Node& node);

/// A conversation with a service in which lines are shown as they are when a program reads them.
class Session {
  public:
    Session(const std::string& socket, bool json) : connection_(socket), json_(json) {}

    /// Sends a request and returns its answer. Throws `Refusal`, `Misunderstanding` or
    /// `ConnectionError`, which a service that says nothing for ten seconds is too.
    [[nodiscard]] Reply ask(const std::string& request);
    /// The next result, waited for without limit. Throws `ConnectionError` or `Misunderstanding`.
    [[nodiscard]] Reply nextResult();
    /// Whether the service has said unasked, since the connection exists, that it ends a binding.
    [[nodiscard]] bool unbound() const { return unbound_; }
    /// Takes one line that nobody asked for, if there is one. Throws as `ask` does.
    void takeNotice();

    /// Prints the line for a program, or `text` for a person.
    void print(const Reply& reply, const std::string& text) const;
    [[nodiscard]] bool json() const { return json_; }
    [[nodiscard]] int descriptor() const { return connection_.descriptor(); }

  private:
    [[nodiscard]] bool isNotice(const Reply& reply);

    Connection connection_;
    bool json_;
    bool unbound_ = false;
};

}  // namespace gateway
