// SPDX-License-Identifier: MIT
#include "vorn/common/cipher/CipherProxy.h"

#include <utility>

#include "internal/assert.h"

namespace vorn::common::cipher {

CipherProxy::CipherProxy(std::unique_ptr<ICipher> cipher) noexcept : cipher_(std::move(cipher)) {}

// Only the cipher knows its own type, so it makes the copy.
CipherProxy::CipherProxy(const CipherProxy& other) : CipherProxy(other.clone()) {}

CipherProxy::CipherProxy(CipherProxy&& other) noexcept = default;

CipherProxy::~CipherProxy() = default;

CipherProxy& CipherProxy::operator=(const CipherProxy& other) {
    VORN_ASSERT(this != &other);
    // Clones before anything is given up: a clone that throws leaves this proxy usable.
    CipherProxy copy = other.clone();
    cipher_ = std::move(copy.cipher_);
    return *this;
}

CipherProxy& CipherProxy::operator=(CipherProxy&& other) noexcept = default;

std::string CipherProxy::encrypt(const std::string_view& plain) const {
    return cipher().encrypt(plain);
}

std::string CipherProxy::decrypt(const std::string_view& ciphered) const {
    return cipher().decrypt(ciphered);
}

CipherProxy CipherProxy::clone() const {
    return cipher().clone();
}

const ICipher& CipherProxy::cipher() const {
    VORN_ASSERT(cipher_ != nullptr);
    return *cipher_;
}

}  // namespace vorn::common::cipher
