// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <vorn/common/Uuid.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>

namespace gateway {

/// JSON strings for a protocol of one line per message.
///
/// The library's writer escapes seven characters and leaves the other control characters as they
/// are, and its typed extraction resolves a doubly escaped backslash twice and keeps "\u" escapes
/// as written. Settings files never notice; shell texts and captured output, which travel here,
/// would. So this protocol reads and writes its strings itself (RFC 8259, section 7) and leaves
/// everything else to the library.

/// `text` as a JSON string with its quotes: every control character is escaped, so the result never
/// holds a line feed, and each byte that is not UTF-8 becomes U+FFFD, so it is always valid JSON.
[[nodiscard]] std::string jsonString(std::string_view text);

/// `text` for a log or a terminal: `instead` stands for each control character, those beyond ASCII
/// (U+0080 to U+009F) included, and for each byte that is not UTF-8.
[[nodiscard]] std::string printable(std::string_view text, char instead);

/// The characters of a string node, "\u" escapes as UTF-8. Throws `std::invalid_argument` saying
/// what was expected when the node is no string or holds an escape that does not exist.
[[nodiscard]] std::string textOf(const vorn::common::lwjson::Deserializer& node);

/// Builds one message of the protocol: a JSON object on one line, valid whatever its texts hold.
///
///     std::string line = JsonLine().text("answer", "error").text("error", reason).take();
class JsonLine {
  public:
    JsonLine& text(const char* key, std::string_view value);
    JsonLine& texts(const char* key, const std::vector<std::string>& values);
    JsonLine& number(const char* key, std::int64_t value);
    JsonLine& flag(const char* key, bool value);
    JsonLine& uuid(const char* key, const vorn::common::Uuid& value);
    /// A value that is JSON already and holds no line feed.
    JsonLine& json(const char* key, const std::string& value);
    /// An array of values that are JSON already and hold no line feed.
    JsonLine& jsons(const char* key, const std::vector<std::string>& values);

    /// The finished object without a line feed. Call it last, once.
    [[nodiscard]] std::string take();

  private:
    vorn::common::lwjson::Serializer serializer_{vorn::common::lwjson::Serializer::Compact};
};

}  // namespace gateway
