// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "posix/Descriptor.h"

namespace vorn::common::internal {

/// A file that is written apart and then takes another one's place in one step, so that neither a
/// kill nor a full device leaves half a file at the target. Its name is the target's followed by
/// ".side~": what a killed process left is replaced by the next one, so that nothing piles up.
class SideFile {
  public:
    explicit SideFile(std::string target);
    /// Removes what has not been renamed.
    ~SideFile();
    SideFile(const SideFile&) = delete;
    SideFile& operator=(const SideFile&) = delete;

    /// Creates the file beside the target, writes the text and makes it durable. False when
    /// anything of that fails.
    [[nodiscard]] bool write(std::string_view text, std::filesystem::perms permissions) noexcept;

    /// Makes a durable copy of a regular file, its permissions and, where allowed, its owner
    /// included; in the temporary directory when nothing can be created beside the target. Throws
    /// std::runtime_error when not even that is possible.
    [[nodiscard]] bool copyFrom(const std::string& source);

    /// Renames the file onto the target.
    [[nodiscard]] bool rename() noexcept;

    /// Renames the file onto the target, or copies it there when it cannot be renamed.
    [[nodiscard]] bool replaceTarget();

  private:
    [[nodiscard]] bool create(std::filesystem::perms permissions) noexcept;

    std::string target_;
    std::string path_;
    Descriptor file_;
    bool exists_ = false;
};

}  // namespace vorn::common::internal
