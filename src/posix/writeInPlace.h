// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <ios>
#include <string>
#include <string_view>

namespace vorn::common::internal {

/// Writes the text where a file stream of this mode would, and waits until it is on the device. The
/// file has exactly these permissions, from its creation on. False when anything of that fails; a
/// part may then be there.
[[nodiscard]] bool writeInPlace(const std::string& path, std::ios_base::openmode mode,
                                std::filesystem::perms permissions, std::string_view text) noexcept;

}  // namespace vorn::common::internal
