// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace vorn::common::internal {

/// Reads a descriptor up to its end, or to the first error other than an interruption. Blocks until
/// every writer has closed its end. Throws std::overflow_error "reading from pipe caused overflow".
[[nodiscard]] std::string readToEnd(int fd);

/// The length of a text of `length` bytes after `added` more; throws the error above when it wraps.
std::size_t lengthAfterAppending(std::size_t length, std::size_t added);

}  // namespace vorn::common::internal
