// SPDX-License-Identifier: MIT
// Configuration files of both formats are read as their descriptions say, step by step. With an
// even first byte the rest is the content of a text file, else of a JSON file.
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <vorn/common/lwjson/Deserializer.h>

#include "arguments/referenceArguments.h"
#include "fuzz.h"
#include "json/referenceExtraction.h"
#include "pluginConfiguration.h"

namespace {

using vorn::common::DynamicLibraryConfig;
using vorn::common::lwjson::Deserializer;

/// A file in memory that is rewritten for every input.
class MemoryFile {
  public:
    MemoryFile() : descriptor_(::memfd_create("configuration", MFD_CLOEXEC)) {
        fuzz::require(descriptor_ >= 0, "memfd_create");
    }
    void write(std::string_view content) const {
        fuzz::require(::ftruncate(descriptor_, 0) == 0 &&
                          ::pwrite(descriptor_, content.data(), content.size(), 0) ==
                              static_cast<ssize_t>(content.size()),
                      "writing the file");
    }
    [[nodiscard]] std::string path() const {
        return "/proc/self/fd/" + std::to_string(descriptor_);
    }

  private:
    int descriptor_;
};

std::vector<std::string> tokensOf(const std::string& line) {
    const auto isBlank = [](char character) {
        return character == ' ' || character == '\t' || character == '\n' || character == '\r';
    };
    std::vector<std::string> tokens;
    std::size_t at = 0;
    for (;;) {
        while (at < line.size() && isBlank(line[at])) {
            ++at;
        }
        if (at == line.size()) {
            return tokens;
        }
        std::string token;
        if (line[at] == '"') {
            const std::size_t end = line.find('"', at + 1);
            if (end == std::string::npos) {
                throw std::invalid_argument("Missing closing \"");
            }
            token = line.substr(at + 1, end - at - 1);
            at = end + 1;
        } else {
            while (at < line.size() && !isBlank(line[at])) {
                token += line[at++];
            }
        }
        tokens.push_back(token);
    }
}

std::vector<DynamicLibraryConfig> readText(const std::string& content) {
    std::vector<DynamicLibraryConfig> plugins;
    std::istringstream stream(content);
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        if (line.starts_with('#')) {
            continue;
        }
        std::vector<std::string> tokens;
        try {
            tokens = tokensOf(line);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("Failed to parse line " + std::to_string(number) + ": " +
                                        error.what());
        }
        if (!tokens.empty()) {
            DynamicLibraryConfig plugin{tokens[0], {}};
            for (std::size_t i = 1; i < tokens.size(); ++i) {
                plugin.args["arg" + std::to_string(i - 1)] = tokens[i];
            }
            plugins.push_back(plugin);
        }
    }
    return plugins;
}

std::vector<DynamicLibraryConfig> readJson(const std::string& content) {
    const std::string failure = "Failed to load configuration file (json): ";
    Deserializer root;
    try {
        root.importJson(std::string_view(content));
    } catch (const std::exception& error) {
        throw std::invalid_argument(failure + error.what());
    }
    const Deserializer* const list = root.findMember("plugins");
    if (list == nullptr || list->type() != Deserializer::MemberType::Array) {
        throw std::invalid_argument(failure + "\"plugins\" is missing or not an array");
    }
    std::vector<DynamicLibraryConfig> plugins;
    for (const Deserializer& entry : list->members()) {
        const Deserializer* const path = entry.findMember("path");
        if (path == nullptr) {
            throw std::invalid_argument(
                "Invalid library configuration file: plugin's \"path\" is mandatory");
        }
        const std::string raw(path->value.view());
        if (raw.empty() || raw.front() != '"') {
            throw std::invalid_argument(failure + "lwjson::deserializer \"path\" is not a string");
        }
        plugins.push_back({unescapedPassByPass(raw.substr(1, raw.size() - 2)), {}});
        const Deserializer* const arguments = entry.findMember("args");
        if (arguments != nullptr && arguments->type() == Deserializer::MemberType::Object) {
            reference::flattenArguments(plugins.back().args, "", *arguments, true);
        }
    }
    return plugins;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MemoryFile file;
    static const std::string path = file.path();
    fuzz::Input input(data, size);
    const bool isJson = input.byte() % 2 == 1;
    const std::string content(input.rest());
    file.write(content);
    std::vector<DynamicLibraryConfig> expected;
    std::vector<DynamicLibraryConfig> found;
    const std::string error =
        fuzz::errorOf([&] { expected = isJson ? readJson(content) : readText(content); });
    using namespace vorn::common::internal;
    fuzz::same(error, fuzz::errorOf([&] {
                   found = isJson ? readJsonPluginConfiguration(path)
                                  : readTextPluginConfiguration(path);
               }),
               "error");
    fuzz::same(expected.size(), found.size(), "number of plug-ins");
    for (std::size_t i = 0; i < expected.size(); ++i) {
        fuzz::same(expected[i].path, found[i].path, "path");
        fuzz::require(expected[i].args == found[i].args, "arguments");
    }
    return 0;
}
