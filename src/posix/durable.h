#pragma once

#include <filesystem>

namespace vorn::common::internal {

/// Waits until the file's content is on the device. True also where the file has nothing to wait
/// for (a device, a pipe, a file system without support).
[[nodiscard]] bool syncContent(int fd) noexcept;

/// Waits until the names in the directory that holds `path` are on the device; failures are
/// ignored.
void syncDirectoryOf(const std::filesystem::path& path) noexcept;

}  // namespace vorn::common::internal
