// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <vorn/common/export.h>

/// Texts for bytes.
namespace vorn::common::encoding {

/// Base64 and Base64URL of RFC 4648.
///
///     Base64::encodeToString("fo")            // "Zm8="
///     Base64::decodeToString("Zm8=")          // "fo"
///     Base64::decodeToString("-_8", true)     // the bytes FB FF
///
/// Both encoders pad with '='. One table decodes both alphabets; see decodeFromBase64Any for what
/// the check refuses. Every operation takes linear time and allocates its result once.
/// Threads: all operations are static and share nothing. Texts may hold NUL characters, except
/// those given as `const char*`, which must not be null.
class VORN_GW_COMMON_EXPORT Base64 {
  public:
    Base64() = delete;

    /// Replaces `out` by the text of the bytes. `alphabet` is 64 characters and a NUL; `data` must
    /// not lie in `out`.
    /// @{
    static void encodeTobase64(const unsigned char* data, unsigned size, const char (&alphabet)[65],
                               std::string& out);
    static void encodeTobase64(const std::string& data, const char (&alphabet)[65],
                               std::string& out);
    static void encodeTobase64(const std::vector<unsigned char>& data, const char (&alphabet)[65],
                               std::string& out);
    /// @}

    /// The text in the standard alphabet ('+' and '/'), padded.
    /// @{
    [[nodiscard]] static std::string encodeToString(const std::string& data);
    [[nodiscard]] static std::string encodeToString(const std::string_view& data);
    [[nodiscard]] static std::string encodeToString(const std::vector<unsigned char>& data);
    [[nodiscard]] static std::string encodeToString(const char* data);
    /// @}

    /// The text in the URL alphabet ('-' and '_'), padded too.
    /// @{
    [[nodiscard]] static std::string encodeUrlToString(const std::string& data);
    [[nodiscard]] static std::string encodeUrlToString(const std::string_view& data);
    [[nodiscard]] static std::string encodeUrlToString(const std::vector<unsigned char>& data);
    [[nodiscard]] static std::string encodeUrlToString(const char* data);
    /// @}

    /// Decodes without any check, as decodeFromBase64Any does with `skipCheck`.
    [[nodiscard]] static std::vector<unsigned char> decodeToByte(const std::string& text);

    /// The decoded bytes; see decodeFromBase64Any.
    /// @{
    [[nodiscard]] static std::string decodeToString(const std::string& text,
                                                    bool skipCheck = false);
    [[nodiscard]] static std::string decodeToString(const std::string_view& text,
                                                    bool skipCheck = false);
    [[nodiscard]] static std::string decodeToString(const char* text, bool skipCheck = false);
    /// @}

    /// Replaces `out` by the decoded bytes. Exists for `std::string`.
    ///
    /// Unless `skipCheck` is true, throws std::invalid_argument and leaves `out` as it was when the
    /// text does not pass checkBase64: only padded text in the standard alphabet is accepted, so
    /// text in the URL alphabet must be decoded with `skipCheck`.
    ///
    /// Deliberate: with `skipCheck` both alphabets are read, padding is optional, and what is no
    /// Base64 is skipped rather than reported: in each group of four characters, the second, third
    /// and fourth give one byte each if they are valid, and '<' is read like 'A'.
    template <class Output>
    static void decodeFromBase64Any(const std::string& input, Output& out, bool skipCheck = false);

    /// Whether the whole text matches
    /// `^(?:[A-Za-z0-9+/]{4})*(?:[A-Za-z0-9+/]{2}==|[A-Za-z0-9+/]{3}=)?$`.
    [[nodiscard]] static bool checkBase64(const std::string& text);
};

/// @cond
extern template VORN_GW_COMMON_EXPORT void Base64::decodeFromBase64Any<std::string>(
    const std::string& input, std::string& out, bool skipCheck);
/// @endcond

}  // namespace vorn::common::encoding
