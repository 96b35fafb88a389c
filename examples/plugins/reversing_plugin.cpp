// SPDX-License-Identifier: MIT

// A plug-in with one cipher, "reverse": no protection at all, but short. See secretbox_plugin.cpp
// for one of real use.

#include <memory>

#include <vorn/common/IPlugin.h>
#include <vorn/common/export.h>

namespace {

using vorn::common::cipher::CipherProxy;

class Reverse : public vorn::common::cipher::ICipher {
  public:
    std::string encrypt(const std::string_view& plain) const override { return reversed(plain); }
    std::string decrypt(const std::string_view& ciphered) const override {
        return reversed(ciphered);
    }
    CipherProxy clone() const override { return CipherProxy(std::make_unique<Reverse>()); }

  private:
    static std::string reversed(std::string_view text) { return {text.rbegin(), text.rend()}; }
};

class ReversingPlugin : public vorn::common::IPlugin {
  public:
    std::optional<CipherProxy> getCipher(const std::string_view& cipherName) override {
        if (cipherName != "reverse") {
            return std::nullopt;
        }
        return CipherProxy(std::make_unique<Reverse>());
    }
};

}  // namespace

extern "C" VORN_GW_COMMON_EXPORT vorn::common::IPlugin* loadLibrary(
    const std::unordered_map<std::string, std::string>& /*args*/, std::string& /*error*/) {
    return new ReversingPlugin;
}
