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
/// found without any lock, even while another one is being loaded; two unknown libraries are loaded
/// one after the other. A plug-in's entry point must not ask for a cipher of an unknown library.
/// How many threads may query one plug-in at a time is up to that plug-in.
/// Lifetime: libraries loaded here stay loaded until the process ends, and the destructors of their
/// plug-in objects are not run. Paths are compared as texts: two spellings are two libraries.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::optional<CipherProxy> getCipherFromLib(
    const std::string_view& libraryPath, const std::string_view& cipherName);

}  // namespace vorn::common::cipher
