// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

#include <vorn/common/cipher/CipherProxy.h>
#include <vorn/common/export.h>

namespace vorn::common::cipher {

/// Returns the cipher of that name from a plug-in library, which is loaded, with no arguments, when
/// its path is seen for the first time.
///
///     auto cipher = cipher::getCipherFromLib("/usr/lib/gateway/libciphers.so", "vault");
///
/// Empty when the plug-in has no such cipher; a line on the standard error stream then names both.
/// Throws `std::invalid_argument` when the library cannot be loaded (see DynamicLibrary.h); nothing
/// is remembered then, so the next call tries again. Exceptions of the plug-in's query pass.
///
/// Threads: safe from all of them; each library is loaded once. A library that is known already is
/// found without any lock, even while another one is being loaded. Whoever asks for a library that
/// another thread is loading waits for it, and tries for itself when that fails.
/// A library may ask for ciphers while it is being loaded, from its static initialisers and its
/// entry point. It then waits for no other thread, so nothing can deadlock; if another thread is
/// just in the entry point that it needs, that entry point is called once more, and the object that
/// comes second is deleted. An entry point that asks for its own library gets a
/// `std::invalid_argument`.
/// How many threads may query one plug-in at a time is up to that plug-in.
/// Lifetime: libraries loaded here stay loaded until the process ends, and the destructors of their
/// plug-in objects are not run. Paths are compared as texts: two spellings are two libraries.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::optional<CipherProxy> getCipherFromLib(
    const std::string_view& libraryPath, const std::string_view& cipherName);

}  // namespace vorn::common::cipher
