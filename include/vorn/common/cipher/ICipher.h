// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <vorn/common/export.h>

/// Ciphers that plug-ins provide.
namespace vorn::common::cipher {

class CipherProxy;

/// A cipher, as a plug-in provides it. The library has none of its own.
///
///     class Rot13 : public cipher::ICipher {
///       public:
///         std::string encrypt(const std::string_view& plain) const override;
///         std::string decrypt(const std::string_view& ciphered) const override;
///         cipher::CipherProxy clone() const override {
///             return cipher::CipherProxy(std::make_unique<Rot13>(*this));
///         }
///     };
///
/// A plug-in with a cipher links the library: clone() needs the constructor of CipherProxy shown
/// here, its move constructor and its destructor. The interface itself needs nothing.
///
/// The order of the virtual functions is part of the interface between programs and plug-ins.
/// Threads: one thread at a time; an implementation that allows more says so.
/// Lifetime: code of the plug-in, so its library stays loaded for as long as the object exists.
class VORN_GW_COMMON_EXPORT ICipher {
  public:
    virtual ~ICipher() = default;

    /// Returns the enciphered form of any text, the empty one included. Its alphabet and length are
    /// the cipher's business. Exceptions of the implementation reach the caller unchanged.
    [[nodiscard]] virtual std::string encrypt(const std::string_view& plain) const = 0;
    /// Returns the text that `encrypt` was given.
    [[nodiscard]] virtual std::string decrypt(const std::string_view& ciphered) const = 0;
    /// Returns a new, independent handle on an equivalent cipher.
    [[nodiscard]] virtual CipherProxy clone() const = 0;

  protected:
    /// Only as a part of a deriving object; clone() is what copies a cipher.
    /// @{
    ICipher() = default;
    ICipher(const ICipher&) = default;
    ICipher(ICipher&&) = default;
    ICipher& operator=(const ICipher&) = default;
    ICipher& operator=(ICipher&&) = default;
    /// @}
};

}  // namespace vorn::common::cipher

// clone() returns it by value, so whoever sees the one needs the other.
#include <vorn/common/cipher/CipherProxy.h>
