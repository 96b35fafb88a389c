// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <vorn/common/export.h>

namespace vorn::common::encoding {

/// Percent-encoding of text for URLs, after RFC 3986.
///
///     UrlEncode::encode("a b")        // "a%20b"
///     UrlEncode::decode("a%20b")      // "a b"
///
/// Unreserved are the digits, the letters of the current C locale (`isalpha`), and "-._~".
/// Threads: safe from any thread, as long as none changes the C locale meanwhile.
class VORN_GW_COMMON_EXPORT UrlEncode {
  public:
    UrlEncode() = delete;

    /// Whether the character may stand in a URL: unreserved, one of the delimiters
    /// ":/?#[]@" and "!$&'()*+,;=", or '%'.
    [[nodiscard]] static bool isValidUrlChar(char c);

    /// Keeps unreserved characters and writes every other byte as '%' and upper-case hex.
    /// Deliberate: without zero padding, so that a byte below 16 gives one digit (a tab "%9"),
    /// which decode() does not read back.
    [[nodiscard]] static std::string encode(const std::string& text);

    /// Turns every '%' and two hex digits (either case) into their byte and copies everything else;
    /// '+' stays '+'. Throws std::runtime_error "Unexpected end of string" when fewer than two
    /// characters follow a '%', and "Failed hex to dec conversion" when they are no hex digits.
    [[nodiscard]] static std::string decode(const std::string& text);
};

}  // namespace vorn::common::encoding
