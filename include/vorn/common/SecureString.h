// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <vorn/common/cipher/CipherProxy.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// Keeps a secret in its enciphered form only, and wipes that when it is replaced or destroyed.
///
///     auto password = SecureString::fromPlainText(std::move(cipher), typed);
///     settings.password = password.cipheredString();
///     login(password.decipheredString());
///
/// No operation leaves an enciphered text behind in memory that the object no longer uses: neither
/// in released buffers nor in the place that a string uses for short texts, after a move, an
/// assignment or the end of the object. Plain texts are the caller's to look after.
///
/// Exceptions of the cipher pass unchanged.
/// Threads: each object is used by one thread at a time; copies are independent, with clones of the
/// cipher.
/// Not guaranteed: copies made inside the cipher, in registers, in swap space or a core file.
class VORN_GW_COMMON_EXPORT SecureString {
  public:
    /// Takes an enciphered text as it is; what the caller keeps of it is the caller's to wipe.
    SecureString(cipher::CipherProxy cipher, std::string ciphered);
    /// Holds the empty secret, in the form that the cipher gives it.
    explicit SecureString(cipher::CipherProxy cipher);
    /// Clones the cipher; its exceptions pass.
    SecureString(const SecureString& other);
    /// Leaves `other` with an empty text and no cipher: it may then only be assigned to or
    /// destroyed.
    SecureString(SecureString&& other) noexcept;
    ~SecureString();

    /// Copies first: when cloning throws, this object is as it was. Assigning to itself has no
    /// effect.
    SecureString& operator=(const SecureString& other);
    /// Wipes what it held; leaves `other` as the move constructor does.
    SecureString& operator=(SecureString&& other) noexcept;

    /// Enciphers `plain`, which stays the caller's to wipe.
    [[nodiscard]] static SecureString fromPlainText(cipher::CipherProxy cipher,
                                                    std::string_view plain);
    /// For a text that was enciphered before, such as one from a settings file. It is not checked.
    [[nodiscard]] static SecureString fromCiphered(cipher::CipherProxy cipher,
                                                   std::string ciphered);

    /// The enciphered text, for storing. Lifetime: valid until the object changes.
    [[nodiscard]] const std::string& cipheredString() const noexcept { return ciphered_; }
    /// The secret. The returned string is its only plain copy.
    [[nodiscard]] std::string decipheredString() const;

    /// Replaces the secret.
    ///
    /// Deliberate: the former text is overwritten with zero bytes before the new one is enciphered.
    /// When the cipher throws, those zero bytes are what `cipheredString` returns; and a `plain`
    /// that refers to this object's own text is overwritten too.
    void reset(const std::string& plain);

  private:
    cipher::CipherProxy cipher_;
    std::string ciphered_;
};

}  // namespace vorn::common
