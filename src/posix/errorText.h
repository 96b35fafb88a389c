// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace vorn::common::internal {

/// The text of an errno value, as strerror gives it, but safe from several threads.
[[nodiscard]] std::string errorText(int errorNumber);

}  // namespace vorn::common::internal
