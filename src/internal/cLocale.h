// SPDX-License-Identifier: MIT
#pragma once

#include <locale.h>

namespace vorn::common::internal {

/// The "C" locale for the strto..._l family, so that a comma locale of the process changes nothing.
/// Created on first use, from any thread, and never freed.
[[nodiscard]] locale_t cLocale() noexcept;

}  // namespace vorn::common::internal
