#pragma once

#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/cipher/CipherProxy.h>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace gateway {

using Plugins = std::map<std::string, std::shared_ptr<vorn::common::DynamicLibrary>>;

/// Turns the service's secret into the enciphered text that is stored, and back, with the cipher
/// "secretbox" of whichever plug-in provides it.
///
/// Lifetime: the plug-ins must stay loaded.
class Vault {
  public:
    explicit Vault(const Plugins& plugins);

    /// Both throw `std::runtime_error` saying why: no plug-in provides the cipher; the key is wrong
    /// or the text was changed.
    [[nodiscard]] std::string seal(std::string_view plain) const;
    [[nodiscard]] std::string open(const std::string& ciphered) const;

  private:
    [[nodiscard]] const vorn::common::cipher::CipherProxy& cipher() const;

    std::optional<vorn::common::cipher::CipherProxy> cipher_;
};

}  // namespace gateway
