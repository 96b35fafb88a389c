// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace vorn::common::internal {

/// Waits until the file's content is on the device. True also where the file has nothing to wait
/// for (a device, a pipe, a file system without support).
[[nodiscard]] bool syncContent(int fd) noexcept;

/// The directory of a path, "." for a bare name: what opens it, not its shortest name.
[[nodiscard]] std::string_view directoryOf(std::string_view path) noexcept;

/// Waits until the names in the directory that holds `path` are on the device; failures are
/// ignored.
void syncDirectoryOf(std::string_view path) noexcept;

}  // namespace vorn::common::internal
