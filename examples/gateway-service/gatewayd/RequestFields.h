#pragma once

#include <vorn/common/lwjson/Deserializer.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace gateway {

/// A request that is not understood. The text says what is wrong and is meant for the client.
class RequestError : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// Takes the members of one request out one by one; at the end, `finish` refuses members that
/// nobody took. Every operation throws `RequestError` naming the member.
///
/// Lifetime: keeps a reference to the line's text.
class RequestFields {
  public:
    /// Parses a line, which must hold one JSON object and nothing else.
    explicit RequestFields(const std::string& line);

    [[nodiscard]] std::string text(const char* name);
    [[nodiscard]] std::optional<std::string> optionalText(const char* name);
    [[nodiscard]] std::optional<std::vector<std::string>> optionalTexts(const char* name);
    [[nodiscard]] unsigned number(const char* name, unsigned least, unsigned most);
    /// True or false; false when it is missing.
    [[nodiscard]] bool flag(const char* name);
    void finish() const;

  private:
    using Node = vorn::common::lwjson::Deserializer;

    [[nodiscard]] const Node* take(const char* name);
    [[nodiscard]] const Node& mandatory(const char* name);

    Node document_;
    std::vector<bool> taken_;
};

}  // namespace gateway
