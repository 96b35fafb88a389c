// SPDX-License-Identifier: MIT
#pragma once

#if __cplusplus < 202002L
#error "vorn-gw-common needs C++20 or newer: compile with -std=c++20"
#endif

/// @file
/// The mark of exported names.

/// Marks what the library exports. The library is compiled with hidden visibility, so that only
/// marked classes and functions can be linked against; exception types and polymorphic interfaces
/// are marked as a whole, so that they can be caught and cast on both sides of the boundary.
#define VORN_GW_COMMON_EXPORT __attribute__((visibility("default")))

/// Takes back the mark of its class from a private member: no program can call it, so that it may
/// change or go in every release.
#define VORN_GW_COMMON_HIDDEN __attribute__((visibility("hidden")))
