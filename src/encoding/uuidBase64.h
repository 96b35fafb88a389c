// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "encoding/base64.h"

namespace vorn::common::internal {

inline constexpr std::size_t kUuidBase64Length = 22;

/// The value of one character; throws std::invalid_argument when the table does not know it.
[[nodiscard]] unsigned int uuidBase64Value(const Base64Table& table, char character);

/// Decodes 22 characters of either alphabet, not mixed; throws std::invalid_argument otherwise.
[[nodiscard]] std::array<unsigned char, 16> parseUuidBase64(std::string_view text);

/// The 22 characters of the standard alphabet.
[[nodiscard]] std::string uuidBase64(const std::array<unsigned char, 16>& bytes);

}  // namespace vorn::common::internal
