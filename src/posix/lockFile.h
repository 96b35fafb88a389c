// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "posix/Descriptor.h"

namespace vorn::common::internal {

/// Creates a file that must not exist yet, so that its existence is a lock between processes. The
/// descriptor is the holder's; empty when the file exists or cannot be created. One attempt.
///
/// A file that an interrupted call of this attempt may have created (network file systems) is told
/// from a stranger's by a lock on the open file, which every holder keeps as well.
[[nodiscard]] Descriptor createLockFile(const std::string& path) noexcept;

/// Closes the holder's file and removes it, if it is still there.
void removeLockFile(const std::string& path, Descriptor& file) noexcept;

}  // namespace vorn::common::internal
