// SPDX-License-Identifier: MIT

// A plug-in whose cipher "secretbox" throws something else each time.
#include <memory>
#include <new>
#include <stdexcept>

#include <vorn/common/IPlugin.h>

namespace {

using vorn::common::cipher::CipherProxy;
using vorn::common::cipher::ICipher;

class ThrowingCipher : public ICipher {
  public:
    [[nodiscard]] std::string encrypt(const std::string_view& plain) const override {
        if (plain == "logic") {
            throw std::logic_error("a logic error");
        }
        if (plain == "memory") {
            throw std::bad_alloc();
        }
        if (plain == "number") {
            throw 7;
        }
        return "sealed";
    }
    [[nodiscard]] std::string decrypt(const std::string_view&) const override { throw "a text"; }
    [[nodiscard]] CipherProxy clone() const override {
        return CipherProxy(std::make_unique<ThrowingCipher>());
    }
};

class ThrowingPlugin : public vorn::common::IPlugin {
  public:
    std::optional<CipherProxy> getCipher(const std::string_view& name) override {
        return name == "secretbox" ? std::optional(CipherProxy(std::make_unique<ThrowingCipher>()))
                                   : std::nullopt;
    }
};

}  // namespace

extern "C" vorn::common::IPlugin* loadLibrary(const std::unordered_map<std::string, std::string>&,
                                              std::string&) {
    return new ThrowingPlugin;
}
