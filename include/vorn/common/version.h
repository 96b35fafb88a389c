// SPDX-License-Identifier: MIT
#pragma once

#include <vorn/common/export.h>

/// @file
/// The version, of the headers and of the library.

/// @{
/// The version of these headers, each part a number. This is where the version stands; the build,
/// the packages and the soname (its major part) read it from here.
#define VORN_GW_COMMON_VERSION_MAJOR 3
#define VORN_GW_COMMON_VERSION_MINOR 0
#define VORN_GW_COMMON_VERSION_PATCH 0
/// @}

/// One number to compare: `#if VORN_GW_COMMON_VERSION >= 30100` is "3.1.0 or newer".
#define VORN_GW_COMMON_VERSION                                                   \
    (VORN_GW_COMMON_VERSION_MAJOR * 10000 + VORN_GW_COMMON_VERSION_MINOR * 100 + \
     VORN_GW_COMMON_VERSION_PATCH)

namespace vorn::common {

/// The version of the library that runs, as VORN_GW_COMMON_VERSION tells that of the headers: a
/// service that was built against an older minor version sees a larger number here.
/// Threads: may be called at any time, in static initialisers too.
[[nodiscard]] VORN_GW_COMMON_EXPORT int version() noexcept;

}  // namespace vorn::common
