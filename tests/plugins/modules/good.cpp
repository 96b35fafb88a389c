// SPDX-License-Identifier: MIT
#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include <vorn/common/IPlugin.h>

#include "events.h"

namespace {

using namespace vorn::common;

/// Turns texts round.
class Reversing : public cipher::ICipher {
  public:
    std::string encrypt(const std::string_view& plain) const override {
        return {plain.rbegin(), plain.rend()};
    }
    std::string decrypt(const std::string_view& ciphered) const override {
        return encrypt(ciphered);
    }
    cipher::CipherProxy clone() const override {
        return cipher::CipherProxy(std::make_unique<Reversing>());
    }
};

struct OwnError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Plugin : public IPlugin {
  public:
    ~Plugin() override { noteEvent("object deleted"); }

    std::optional<cipher::CipherProxy> getCipher(const std::string_view& cipherName) override {
        if (cipherName == "broken") {
            throw OwnError("the cipher is broken");
        }
        if (cipherName != "reversing") {
            return std::nullopt;
        }
        return cipher::CipherProxy(std::make_unique<Reversing>());
    }
};

struct ClosingNote {
    ~ClosingNote() { noteEvent("library closed"); }
} closingNote;

}  // namespace

/// What a test may have lie in memory that goes with the library.
extern "C" VORN_GW_COMMON_EXPORT char pathInside[sizeof(std::string)];
alignas(std::string) char pathInside[sizeof(std::string)];

extern "C" VORN_GW_COMMON_EXPORT IPlugin* loadLibrary(
    const std::unordered_map<std::string, std::string>& args, std::string& error) {
    std::string event = error.empty() ? "loaded" : "error is not empty";
    for (const auto& [name, value] : std::map(args.begin(), args.end())) {
        event += " " + name + "=" + value;
    }
    noteEvent(event);
    return new Plugin;
}
