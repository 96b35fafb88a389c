// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include <vorn/common/cipher/CipherProxy.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// What the entry point of a plug-in library returns.
///
///     class Plugin : public vorn::common::IPlugin {
///       public:
///         std::optional<cipher::CipherProxy> getCipher(const std::string_view& name) override;
///     };
///
///     extern "C" vorn::common::IPlugin* loadLibrary(
///         const std::unordered_map<std::string, std::string>& args, std::string& error);
///
/// A plug-in derives from it for its own purposes; a service that knows the plug-in casts
/// `DynamicLibrary::object()` to what it needs. The order of the virtual functions is part of the
/// interface between programs and plug-ins.
/// Lifetime: created by the entry point with `new`, deleted by the `DynamicLibrary` that loaded it,
/// just before the library is closed; nothing made by it may outlive that.
class VORN_GW_COMMON_EXPORT IPlugin {
  public:
    virtual ~IPlugin() = default;

    /// Returns a cipher, or nothing when the plug-in has none of that name.
    [[nodiscard]] virtual std::optional<cipher::CipherProxy> getCipher(
        const std::string_view& cipherName) = 0;

  protected:
    /// Only as a part of a deriving object.
    /// @{
    IPlugin() = default;
    IPlugin(const IPlugin&) = default;
    IPlugin(IPlugin&&) = default;
    IPlugin& operator=(const IPlugin&) = default;
    IPlugin& operator=(IPlugin&&) = default;
    /// @}
};

/// The type of the entry point, which a library exports under the name "loadLibrary". It returns
/// the plug-in object, which the caller owns then, or null with the reason in `error` (empty at
/// first). `args` is valid during the call only. An exception counts as a failure with its text.
using LoadLibraryFunction = IPlugin*(const std::unordered_map<std::string, std::string>& args,
                                     std::string& error);

}  // namespace vorn::common
