// SPDX-License-Identifier: MIT
#include <exception>
#include <stdexcept>

#include <vorn/common/IPlugin.h>

#include "events.h"

namespace {

/// Its type information, its code and its text end with the library.
class OwnError : public std::exception {
  public:
    ~OwnError() override { noteEvent("exception deleted"); }
    const char* what() const noexcept override { return "a text in the library's own memory"; }
};

struct NoException {
    ~NoException() { noteEvent("exception deleted"); }
};

struct ClosingNote {
    ~ClosingNote() { noteEvent("library closed"); }
} closingNote;

}  // namespace

/// The argument "mode" says how to fail. With a text of its own it fails when the file that
/// VORN_TEST_GATE names exists.
extern "C" VORN_GW_COMMON_EXPORT vorn::common::IPlugin* loadLibrary(
    const std::unordered_map<std::string, std::string>& args, std::string& error) {
    const auto found = args.find("mode");
    const std::string mode = found == args.end() ? "null" : found->second;
    if (mode == "own exception") {
        throw OwnError();
    }
    if (mode == "standard exception") {
        throw std::out_of_range("a standard exception");
    }
    if (mode == "no exception") {
        throw NoException();
    }
    if (mode == "number") {
        throw 7;
    }
    if (mode != "null without text") {
        if (std::getenv("VORN_TEST_GATE") != nullptr) {
            noteEvent("failing");
            waitForGate("VORN_TEST_GATE");
        }
        error = "the plug-in has a reason that is longer than a short string holds";
    }
    return nullptr;
}
