#pragma once

#include <vorn/common/lwjson/Deserializer.h>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "Connection.h"

namespace gateway {

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
    /// The next line, waited for without limit. Throws `ConnectionError` or `Misunderstanding`.
    [[nodiscard]] Reply next();

    /// Prints the line for a program, or `text` for a person.
    void print(const Reply& reply, const std::string& text) const;
    [[nodiscard]] bool json() const { return json_; }
    [[nodiscard]] Connection& connection() { return connection_; }

  private:
    Connection connection_;
    bool json_;
};

}  // namespace gateway
