// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vorn::common::internal {

/// Copies what is left of one open file into another one, and returns how much that was; nothing
/// when reading or writing fails.
[[nodiscard]] std::optional<std::int64_t> copyRest(int from, int to);

/// Copies a regular file over another one or to a new one, with its permissions, as
/// `std::filesystem::copy_file` with `overwrite_existing` does; false on failure. For files with
/// times that the C++ library cannot read (see FileStatus).
[[nodiscard]] bool copyRegularFile(const std::string& from, const std::string& to);

}  // namespace vorn::common::internal
