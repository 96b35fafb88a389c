// SPDX-License-Identifier: MIT
#include "pluginConfiguration.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include <vorn/common/lwjson/Deserializer.h>

#include "lwjson/flatten.h"
#include "posix/openFile.h"
#include "posix/transfer.h"

namespace vorn::common::internal {
namespace {

constexpr const char* kJsonFailure = "Failed to load configuration file (json)";
constexpr const char* kTextFailure = "Failed to load configuration file";
constexpr std::string_view kBlanks = " \t\n\r";

[[noreturn]] void throwSystemError(int error, const char* text) {
    throw std::system_error(error, std::generic_category(), text);
}

[[noreturn]] void throwInvalidJson(const std::string& reason) {
    throw std::invalid_argument(std::string(kJsonFailure) + ": " + reason);
}

std::string contentOf(const std::string& path, const char* failure) {
    // A terminal given by mistake must not become the service's controlling one.
    const auto file = openFile(path, O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (!file) {
        throwSystemError(errno, failure);
    }
    // Block by block: what lies behind the path need not know its size, a pipe for instance.
    std::string content;
    char block[4096];
    for (auto size = sizeof block; size == sizeof block;) {
        const auto read = readFully(file.get(), block, sizeof block);
        if (read.error != 0) {
            throwSystemError(read.error, failure);
        }
        content.append(block, read.size);
        size = read.size;
    }
    return content;
}

/// The reader's structural errors are runtime errors; here they all are bad content.
lwjson::Deserializer parse(std::string&& json) {
    try {
        return lwjson::Deserializer(std::move(json));
    } catch (const std::runtime_error& error) {
        throwInvalidJson(error.what());
    } catch (const std::invalid_argument& error) {
        throwInvalidJson(error.what());
    }
}

std::string pathOf(const lwjson::Deserializer& plugin) {
    const auto* const path = plugin.findMember("path");
    if (path == nullptr) {
        throw std::invalid_argument(
            "Invalid library configuration file: plugin's \"path\" is mandatory");
    }
    try {
        return path->as<std::string>();
    } catch (const std::invalid_argument& error) {
        throwInvalidJson(error.what());
    }
}

/// Takes the next token off a line; false when there is none.
bool takeToken(std::string_view& line, std::string_view& token) {
    const auto start = line.find_first_not_of(kBlanks);
    if (start == std::string_view::npos) {
        return false;
    }
    line.remove_prefix(start);
    const bool quoted = line.front() == '"';
    if (quoted) {
        line.remove_prefix(1);
    }
    const auto end = quoted ? line.find('"') : line.find_first_of(kBlanks);
    if (quoted && end == std::string_view::npos) {
        throw std::invalid_argument("Missing closing \"");
    }
    token = line.substr(0, end);
    line.remove_prefix(std::min(line.size(), token.size() + (quoted ? 1 : 0)));
    return true;
}

void parseLine(std::string_view line, std::vector<DynamicLibraryConfig>& plugins) {
    std::string_view token;
    if (line.starts_with('#') || !takeToken(line, token)) {
        return;
    }
    DynamicLibraryConfig plugin{std::string(token), {}};
    while (takeToken(line, token)) {
        // No two are equal, so the map's size is the position.
        plugin.args.emplace("arg" + std::to_string(plugin.args.size()), token);
    }
    plugins.push_back(std::move(plugin));
}

}  // namespace

std::vector<DynamicLibraryConfig> readJsonPluginConfiguration(const std::string& path) {
    const auto root = parse(contentOf(path, kJsonFailure));
    const auto* const list = root.findMember("plugins");
    if (list == nullptr || list->type() != lwjson::Deserializer::MemberType::Array) {
        throwInvalidJson("\"plugins\" is missing or not an array");
    }
    std::vector<DynamicLibraryConfig> plugins;
    for (const auto& entry : list->members()) {
        auto& plugin = plugins.emplace_back(DynamicLibraryConfig{pathOf(entry), {}});
        const auto* const args = entry.findMember("args");
        // A text or a number under "args" has no names to give, so it gives no arguments.
        if (args != nullptr && args->type() == lwjson::Deserializer::MemberType::Object) {
            std::string name;
            flatten(plugin.args, name, *args,
                    [](const lwjson::Deserializer& node) { return node.members().empty(); });
        }
    }
    return plugins;
}

std::vector<DynamicLibraryConfig> readTextPluginConfiguration(const std::string& path) {
    const auto content = contentOf(path, kTextFailure);
    std::vector<DynamicLibraryConfig> plugins;
    std::string_view rest = content;
    for (std::size_t number = 1; !rest.empty(); ++number) {
        // The last line may lack its line feed, so no more is taken off than there is.
        const auto line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        try {
            parseLine(line, plugins);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("Failed to parse line " + std::to_string(number) + ": " +
                                        error.what());
        }
    }
    return plugins;
}

}  // namespace vorn::common::internal
