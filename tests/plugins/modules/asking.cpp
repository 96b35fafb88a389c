// SPDX-License-Identifier: MIT
#include <stdexcept>

#include <vorn/common/IPlugin.h>
#include <vorn/common/cipher/helper.h>

#include "events.h"

namespace {

using namespace vorn::common;

/// Asks the library that an environment variable names for a cipher, if it names one.
void ask(const char* variable) {
    if (const char* const path = std::getenv(variable)) {
        noteEvent(cipher::getCipherFromLib(path, "reversing") ? "found" : "not found");
    }
}

/// Runs while the dynamic loader opens the library, which holds its lock then.
struct StaticInitialiser {
    StaticInitialiser() {
        noteEvent("initialising");
        waitForGate("VORN_TEST_INITIALISER_GATE");
        ask("VORN_TEST_INITIALISER_ASKS");
    }
} staticInitialiser;

class Plugin : public IPlugin {
  public:
    std::optional<cipher::CipherProxy> getCipher(const std::string_view&) override {
        return std::nullopt;
    }
};

}  // namespace

extern "C" VORN_GW_COMMON_EXPORT IPlugin* loadLibrary(
    const std::unordered_map<std::string, std::string>&, std::string&) {
    ask("VORN_TEST_ENTRY_POINT_ASKS");
    return new Plugin;
}
