// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <vorn/common/DynamicLibrary.h>

namespace vorn::common::internal {

/// The two formats of `loadConfigFile`.
[[nodiscard]] std::vector<DynamicLibraryConfig> readJsonPluginConfiguration(
    const std::string& path);
[[nodiscard]] std::vector<DynamicLibraryConfig> readTextPluginConfiguration(
    const std::string& path);

}  // namespace vorn::common::internal
