#include "Vault.h"

#include <vorn/common/IPlugin.h>
#include <vorn/common/SecureString.h>
#include <stdexcept>

namespace gateway {

using vorn::common::SecureString;
using vorn::common::cipher::CipherProxy;

namespace {

constexpr const char* kCipher = "secretbox";

}  // namespace

// Asks the loaded plug-ins rather than getCipherFromLib, which would load the library without the
// arguments of the plug-in file and so without its key.
Vault::Vault(const Plugins& plugins) {
    for (const auto& [path, library] : plugins) {
        if (std::optional<CipherProxy> cipher = library->object()->getCipher(kCipher)) {
            cipher_.emplace(*std::move(cipher));
            return;
        }
    }
}

std::string Vault::seal(std::string_view plain) const {
    return SecureString::fromPlainText(cipher(), plain).cipheredString();
}

std::string Vault::open(const std::string& ciphered) const {
    return SecureString::fromCiphered(cipher(), ciphered).decipheredString();
}

const CipherProxy& Vault::cipher() const {
    if (!cipher_) {
        throw std::runtime_error(std::string("no plug-in provides the cipher \"") + kCipher + "\"");
    }
    return *cipher_;
}

}  // namespace gateway
