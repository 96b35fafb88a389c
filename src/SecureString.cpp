// SPDX-License-Identifier: MIT
#include "vorn/common/SecureString.h"

#include <string.h>

#include <memory>
#include <utility>

namespace vorn::common {
namespace {

/// By a call that optimisers must not drop, though nobody reads the text again.
void wipe(std::string& text) noexcept {
    ::explicit_bzero(text.data(), text.size());
}

/// Wipes the place for short texts too, which is all that a moved-from string has left.
void wipeAndEmpty(std::string& text) noexcept {
    text.resize(text.capacity());
    wipe(text);
    text.clear();
}

std::string take(std::string& from) noexcept {
    std::string text = std::move(from);
    wipeAndEmpty(from);
    return text;
}

/// Not by assignment, which may keep the former buffer, nor by swap, which may leave a copy of a
/// short text on the stack.
void replace(std::string& text, std::string& by) noexcept {
    wipe(text);
    std::destroy_at(&text);
    std::construct_at(&text, std::move(by));
    wipeAndEmpty(by);
}

}  // namespace

SecureString::SecureString(cipher::CipherProxy cipher, std::string ciphered)
    : cipher_(std::move(cipher)), ciphered_(take(ciphered)) {}

SecureString::SecureString(cipher::CipherProxy cipher)
    : cipher_(std::move(cipher)), ciphered_(cipher_.encrypt("")) {}

SecureString::SecureString(const SecureString& other) = default;

// A moved string may keep a short text, or its start, in the object; `take` leaves none of it.
SecureString::SecureString(SecureString&& other) noexcept
    : cipher_(std::move(other.cipher_)), ciphered_(take(other.ciphered_)) {}

SecureString::~SecureString() {
    wipe(ciphered_);
}

SecureString& SecureString::operator=(const SecureString& other) {
    // Through a copy: cloning the cipher may throw, and nothing of this object is lost then.
    if (this != &other) {
        *this = SecureString(other);
    }
    return *this;
}

SecureString& SecureString::operator=(SecureString&& other) noexcept {
    if (this != &other) {
        cipher_ = std::move(other.cipher_);
        replace(ciphered_, other.ciphered_);
    }
    return *this;
}

SecureString SecureString::fromPlainText(cipher::CipherProxy cipher, std::string_view plain) {
    // Before the cipher is moved from; a constructor's arguments are evaluated in any order.
    auto ciphered = cipher.encrypt(plain);
    return SecureString(std::move(cipher), take(ciphered));
}

SecureString SecureString::fromCiphered(cipher::CipherProxy cipher, std::string ciphered) {
    return SecureString(std::move(cipher), take(ciphered));
}

std::string SecureString::decipheredString() const {
    return cipher_.decrypt(ciphered_);
}

void SecureString::reset(const std::string& plain) {
    // First: a cipher that throws must not leave the former secret behind.
    wipe(ciphered_);
    auto ciphered = cipher_.encrypt(plain);
    replace(ciphered_, ciphered);
}

}  // namespace vorn::common
