#pragma once

#include <vorn/common/lwjson/Deserializer.h>
#include <string>
#include <string_view>

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

/// The characters of a string node, "\u" escapes as UTF-8. Throws `std::invalid_argument` saying
/// what was expected when the node is no string or holds an escape that does not exist.
[[nodiscard]] std::string textOf(const vorn::common::lwjson::Deserializer& node);

}  // namespace gateway
