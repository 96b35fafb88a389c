// SPDX-License-Identifier: MIT

// The smallest plug-in: an object, and the entry point that makes it.

#include "greeter.h"

namespace {

class GreetingPlugin : public Greeter {
  public:
    explicit GreetingPlugin(std::string name) : name_(std::move(name)) {}

    std::string greet() const override { return "hello, " + name_; }

    std::optional<vorn::common::cipher::CipherProxy> getCipher(const std::string_view&) override {
        return std::nullopt;
    }

  private:
    std::string name_;
};

}  // namespace

extern "C" VORN_GW_COMMON_EXPORT vorn::common::IPlugin* loadLibrary(
    const std::unordered_map<std::string, std::string>& args, std::string& error) {
    const auto name = args.find("arg0");
    if (name == args.end()) {
        error = "whom to greet is missing";
        return nullptr;
    }
    return new GreetingPlugin(name->second);
}
