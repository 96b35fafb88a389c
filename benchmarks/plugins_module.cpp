// SPDX-License-Identifier: MIT
#include <vorn/common/IPlugin.h>

namespace {

using namespace vorn::common;

class Plugin : public IPlugin {
  public:
    std::optional<cipher::CipherProxy> getCipher(const std::string_view&) override {
        return cipher::CipherProxy(nullptr);
    }
};

}  // namespace

extern "C" VORN_GW_COMMON_EXPORT IPlugin* loadLibrary(
    const std::unordered_map<std::string, std::string>&, std::string&) {
    return new Plugin;
}
