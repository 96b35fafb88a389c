#include <unistd.h>

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

/// Returns when the file that VORN_TEST_GATE names exists.
extern "C" VORN_GW_COMMON_EXPORT vorn::common::IPlugin* loadLibrary(
    const std::unordered_map<std::string, std::string>&, std::string&) {
    noteEvent("loading");
    const char* const gate = std::getenv("VORN_TEST_GATE");
    while (gate != nullptr && ::access(gate, F_OK) != 0) {
        ::usleep(1000);
    }
    noteEvent("loaded");
    return new Plugin;
}
