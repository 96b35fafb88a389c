// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/IPlugin.h>
#include <vorn/common/SecureString.h>
#include <vorn/common/cipher/CipherProxy.h>

namespace gateway {

using Plugins = std::map<std::string, std::shared_ptr<vorn::common::DynamicLibrary>>;

/// Turns the service's secret into the enciphered text that is stored, and back, with the cipher
/// "secretbox" of whichever plug-in provides it.
///
/// Lifetime: the plug-ins must stay loaded.
class Vault {
  public:
    /// Asks the loaded plug-ins rather than getCipherFromLib, which would load the library without
    /// the arguments of the plug-in file and so without its key.
    explicit Vault(const Plugins& plugins) {
        for (const auto& [path, library] : plugins) {
            if (auto cipher = library->object()->getCipher("secretbox")) {
                cipher_.emplace(*std::move(cipher));
                return;
            }
        }
    }

    /// Both throw `std::runtime_error` saying why: no plug-in provides the cipher; the key is wrong
    /// or the text was changed. A plug-in may throw anything else as well.
    [[nodiscard]] std::string seal(std::string_view plain) const {
        return vorn::common::SecureString::fromPlainText(cipher(), plain).cipheredString();
    }
    [[nodiscard]] std::string open(const std::string& ciphered) const {
        return vorn::common::SecureString::fromCiphered(cipher(), ciphered).decipheredString();
    }

  private:
    [[nodiscard]] const vorn::common::cipher::CipherProxy& cipher() const {
        if (!cipher_) {
            throw std::runtime_error("no plug-in provides the cipher \"secretbox\"");
        }
        return *cipher_;
    }

    std::optional<vorn::common::cipher::CipherProxy> cipher_;
};

}  // namespace gateway
