// SPDX-License-Identifier: MIT

// Keeps a password enciphered in memory. The cipher here is a toy; real ones come from a plug-in,
// through cipher::getCipherFromLib.

#include <string.h>

#include <iostream>
#include <memory>
#include <string>

#include <vorn/common/SecureString.h>

namespace {

using namespace vorn::common;

class ToyCipher : public cipher::ICipher {
  public:
    std::string encrypt(const std::string_view& plain) const override { return turned(plain); }
    std::string decrypt(const std::string_view& ciphered) const override {
        return turned(ciphered);
    }
    cipher::CipherProxy clone() const override {
        return cipher::CipherProxy(std::make_unique<ToyCipher>());
    }

  private:
    static std::string turned(std::string_view text) { return {text.rbegin(), text.rend()}; }
};

}  // namespace

int main() {
    const cipher::CipherProxy cipher(std::make_unique<ToyCipher>());
    auto password = SecureString::fromPlainText(cipher, "first");
    std::cout << "stored as   " << password.cipheredString() << '\n';
    password.reset("second");
    std::cout << "stored as   " << password.cipheredString() << '\n';

    const auto restored = SecureString::fromCiphered(cipher, password.cipheredString());
    std::string plain = restored.decipheredString();
    std::cout << "deciphered  " << plain << '\n';
    ::explicit_bzero(plain.data(), plain.size());  // a plain text is its user's to wipe
}
