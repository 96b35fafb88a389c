// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <vorn/common/lwjson/Deserializer.h>

namespace gateway {

/// A document that is not understood. The text says what is wrong, in the words of the document,
/// and is meant for whoever wrote it.
class FieldError : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// Takes the members of one JSON object out one by one; at the end, `finish` refuses members that
/// nobody took. Requests and the configuration are read through it. Every operation throws
/// `FieldError` naming the member ("jobs.limit" for one inside another object).
///
/// Deliberate: stricter than the library's typed extraction, which reads a number as far as it
/// goes and takes the first of two members: what a person wrote is taken as written or refused.
///
/// Lifetime: keeps a reference to the document's text.
class JsonFields {
  public:
    /// How many bytes a text may have at most when nothing else is said.
    static constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);

    /// Parses a text, which must hold one JSON object and nothing else.
    explicit JsonFields(const std::string& text);

    /// At most `most` bytes, and no NUL character among them.
    [[nodiscard]] std::string text(const char* name, std::size_t most = kNoLimit);
    [[nodiscard]] std::optional<std::string> optionalText(const char* name,
                                                          std::size_t most = kNoLimit);
    [[nodiscard]] std::optional<std::vector<std::string>> optionalTexts(const char* name);
    /// A whole number, written with digits alone.
    [[nodiscard]] unsigned number(const char* name, unsigned least, unsigned most);
    [[nodiscard]] std::optional<unsigned> optionalNumber(const char* name, unsigned least,
                                                         unsigned most);
    /// True or false; false when it is missing.
    [[nodiscard]] bool flag(const char* name);
    /// The members of an object inside this one; none when it is missing. Call its `finish` too.
    [[nodiscard]] JsonFields object(const char* name);
    void finish() const;

  private:
    using Node = vorn::common::lwjson::Deserializer;

    JsonFields(const Node* object, std::string path);

    [[nodiscard]] std::string inQuotes(const std::string& name) const;
    [[nodiscard]] std::string textOfMember(const char* name, const Node& node,
                                           std::size_t most) const;
    [[nodiscard]] const Node* take(const char* name);
    [[nodiscard]] const Node& mandatory(const char* name);

    std::optional<Node> document_;
    std::vector<Node> members_;
    std::vector<bool> taken_;
    std::string path_;  // before each name: "jobs."
};

}  // namespace gateway
