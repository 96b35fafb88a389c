// SPDX-License-Identifier: MIT
#include <dlfcn.h>

#include <vorn/common/IPlugin.h>

#include "events.h"

namespace {

class Plugin : public vorn::common::IPlugin {
  public:
    std::optional<vorn::common::cipher::CipherProxy> getCipher(const std::string_view&) override {
        return std::nullopt;
    }
};

}  // namespace

/// Returns when the file that VORN_TEST_GATE names exists, and uses the dynamic loader then.
extern "C" VORN_GW_COMMON_EXPORT vorn::common::IPlugin* loadLibrary(
    const std::unordered_map<std::string, std::string>&, std::string&) {
    noteEvent("loading");
    waitForGate("VORN_TEST_GATE");
    ::dlclose(::dlopen(nullptr, RTLD_LAZY));
    noteEvent("loaded");
    return new Plugin;
}
