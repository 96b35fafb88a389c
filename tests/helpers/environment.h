// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cstdlib>

namespace helpers {

/// Built for another kind of machine than this one, so run by an emulator.
inline constexpr bool kForeign =
#ifdef VORN_TESTS_EMULATED
    true;
#else
    false;
#endif

/// True when this program runs through a user-mode emulator, where it cannot execute itself and
/// /proc describes the emulator. An emulated machine with a kernel of its own says so in its
/// environment.
inline const bool kEmulated = kForeign && std::getenv("VORN_TESTS_OWN_KERNEL") == nullptr;

inline constexpr bool kAddressSanitizer =
#if defined(__SANITIZE_ADDRESS__)
    true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    true;
#else
    false;
#endif
#else
    false;
#endif

inline constexpr bool kThreadSanitizer =
#if defined(__SANITIZE_THREAD__)
    true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
    true;
#else
    false;
#endif
#else
    false;
#endif

/// True where code takes about ten times as long; tests that go through all cases take fewer then.
inline constexpr bool kSlow = kForeign || kAddressSanitizer || kThreadSanitizer;

/// True where tests that repeat something are asked for their long form, as docs/reliability.md
/// shows it; the short one runs otherwise.
inline bool longForm() {
    return std::getenv("VORN_TESTS_LONG") != nullptr;
}

inline bool isRoot() {
    return ::geteuid() == 0;
}

}  // namespace helpers

/// Skips a test that needs root, saying so.
#define VORN_REQUIRE_ROOT()                         \
    do {                                            \
        if (!::helpers::isRoot()) {                 \
            GTEST_SKIP() << "needs to run as root"; \
        }                                           \
    } while (false)
