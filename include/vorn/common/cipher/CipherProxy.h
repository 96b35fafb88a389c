// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <vorn/common/cipher/ICipher.h>
#include <vorn/common/export.h>

namespace vorn::common::cipher {

/// Owns one cipher and behaves like a value: a copy holds a clone, never the same cipher.
///
///     if (auto cipher = cipher::getCipherFromLib("/usr/lib/gateway/libciphers.so", "vault")) {
///         const auto stored = cipher->encrypt("secret");
///     }
///
/// Threads: each object is used by one thread at a time; copies are independent of each other.
/// Lifetime: the library that the cipher comes from stays loaded for longer than the proxy.
class VORN_GW_COMMON_EXPORT CipherProxy : public ICipher {
  public:
    /// Takes the cipher over. A proxy on nothing is like a moved-from one.
    explicit CipherProxy(std::unique_ptr<ICipher> cipher) noexcept;
    /// Takes over the result of `other.clone()`, whose exceptions pass.
    CipherProxy(const CipherProxy& other);
    /// Leaves `other` empty: it may then only be assigned to or destroyed. Any other use of an
    /// empty proxy, copying it included, fails an assertion.
    CipherProxy(CipherProxy&& other) noexcept;
    ~CipherProxy() override;

    /// Clones first, then gives up the former cipher: when `other.clone()` throws, this proxy is as
    /// it was.
    ///
    /// Deliberate: assigning a proxy to itself is a programming error and fails an assertion.
    CipherProxy& operator=(const CipherProxy& other);
    /// Gives up the former cipher and leaves `other` empty.
    CipherProxy& operator=(CipherProxy&& other) noexcept;

    [[nodiscard]] std::string encrypt(const std::string_view& plain) const override;
    [[nodiscard]] std::string decrypt(const std::string_view& ciphered) const override;
    [[nodiscard]] CipherProxy clone() const override;

  private:
    [[nodiscard]] VORN_GW_COMMON_HIDDEN const ICipher& cipher() const;

    std::unique_ptr<ICipher> cipher_;
};

}  // namespace vorn::common::cipher
