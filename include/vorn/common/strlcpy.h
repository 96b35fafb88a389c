// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include <vorn/common/export.h>

namespace vorn::common {

/// Copies a text into a buffer of `size` bytes, cutting it when need be, and ends it with a NUL
/// (nothing is written when `size` is 0). Returns the length of the source in every case:
///
///     char name[16];
///     if (vorn::common::strlcpy(name, source, sizeof name) >= sizeof name) {
///         // it was cut
///     }
///
/// Neither pointer may be null (asserted), whatever the size; the two texts must not overlap.
/// Newer C libraries declare a `::strlcpy` of their own: call this one by its qualified name.
VORN_GW_COMMON_EXPORT std::size_t strlcpy(char* destination, const char* source, std::size_t size);

}  // namespace vorn::common
