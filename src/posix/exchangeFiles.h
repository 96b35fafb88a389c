// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace vorn::common::internal {

/// Which of the two files is replaced first where they cannot be exchanged in one step. A kill in
/// between leaves the content that replaced it under both names, so it should be the better one.
enum class ReplaceFirst { NewFile, OldFile };

/// fs::tools::swapFiles with that choice.
void exchangeFiles(const std::string& oldFile, const std::string& newFile, ReplaceFirst first);

}  // namespace vorn::common::internal
