// SPDX-License-Identifier: MIT
#include "vorn/common/DynamicLibrary.h"

#include <dlfcn.h>

#include <iostream>
#include <stdexcept>
#include <system_error>

#include "pluginConfiguration.h"
#include "pluginLoading.h"

namespace vorn::common {
namespace {

using Arguments = std::unordered_map<std::string, std::string>;

std::string loaderError() {
    const char* const text = ::dlerror();
    return text == nullptr ? std::string() : std::string(text);
}

LoadLibraryFunction* findEntryPoint(void* handle) {
    // Forgets an older error: a symbol may be null without being missing, the text alone tells.
    ::dlerror();
    auto* const function = reinterpret_cast<LoadLibraryFunction*>(::dlsym(handle, "loadLibrary"));
    if (const auto error = loaderError(); !error.empty()) {
        // In one piece, here and below, so that lines of several threads do not mix.
        std::cerr << error + "\n";
    }
    return function;
}

/// The plug-in object or the reason why there is none. When it returns, nothing is left that the
/// library may have made: the exception is gone, and the text is a copy.
std::unique_ptr<IPlugin> callEntryPoint(LoadLibraryFunction* function, const Arguments& args,
                                        std::string& reason) {
    try {
        std::string error;
        std::unique_ptr<IPlugin> object(function(args, error));
        if (object == nullptr) {
            // Never moved: its buffer may be of an allocator that goes with the library.
            reason.assign(error.data(), error.size());
        }
        return object;
    } catch (const std::exception& exception) {
        reason = exception.what();
    } catch (...) {
        reason = "unknown exception";
    }
    return nullptr;
}

void reportUnloadable(const DynamicLibraryConfig& config, const char* reason) {
    std::string text = "ERROR: Unable to load library \"" + config.path + "\" with arguments:\n";
    // Sorted, so that two reports of one plug-in can be compared.
    for (const auto& [name, value] : std::map(config.args.begin(), config.args.end())) {
        text += "\t" + name + " = " + value + "\n";
    }
    std::cerr << text + reason + "\n";
}

std::vector<DynamicLibraryConfig> loadConfigFileOrReport(const std::string& path) {
    const auto report = [&path](const char* what, const char* reason) {
        std::cerr << std::string("ERROR: ") + what + " configuration file \"" + path +
                         "\": " + reason + "\n";
    };
    try {
        return loadConfigFile(path);
    } catch (const std::system_error& error) {
        report("Unable to open", error.what());
    } catch (const std::invalid_argument& error) {
        report("Invalid", error.what());
    }
    return {};
}

}  // namespace

void DynamicLibrary::Closer::operator()(void* handle) const noexcept {
    ::dlclose(handle);
}

DynamicLibrary::DynamicLibrary(const std::string& path, const Arguments& args) {
    loadLibrary(path, args);
}

DynamicLibrary::~DynamicLibrary() {
    unloadLibrary();
}

void DynamicLibrary::loadLibrary(const std::string& path, const Arguments& args) {
    path_ = path;
    unloadLibrary();
    // Held over the entry point too, which may take locks of its own and then ask for a cipher.
    const internal::PluginLoading loading;
    std::unique_ptr<void, Closer> handle(::dlopen(path_.c_str(), RTLD_LAZY));
    if (handle == nullptr) {
        throw std::invalid_argument("Error loading " + path_ + " library : " + loaderError());
    }
    auto* const function = findEntryPoint(handle.get());
    if (function == nullptr) {
        throw std::invalid_argument("No function found with name \"loadLibrary\"");
    }
    std::string reason;
    auto object = callEntryPoint(function, args, reason);
    if (object == nullptr) {
        // Closed before the exception begins its way: whoever catches it may try the file again.
        handle.reset();
        throw std::invalid_argument(reason);
    }
    handle_ = std::move(handle);
    object_ = std::move(object);
}

void DynamicLibrary::unloadLibrary() noexcept {
    // The object's destructor is code of the library.
    object_.reset();
    handle_.reset();
}

std::shared_ptr<DynamicLibrary> loadDynamicLibrary(const std::string& path, const Arguments& args) {
    return std::make_shared<DynamicLibrary>(path, args);
}

std::vector<DynamicLibraryConfig> loadConfigFile(const std::string& path) {
    const auto extension = path.substr(path.rfind('.') + 1);
    return extension == "json" ? internal::readJsonPluginConfiguration(path)
                               : internal::readTextPluginConfiguration(path);
}

std::map<std::string, std::shared_ptr<DynamicLibrary>> loadDynamicLibraries(
    const std::string& configPath) {
    std::map<std::string, std::shared_ptr<DynamicLibrary>> libraries;
    for (const auto& config : loadConfigFileOrReport(configPath)) {
        try {
            libraries.emplace(config.path, loadDynamicLibrary(config.path, config.args));
        } catch (const std::invalid_argument& error) {
            reportUnloadable(config, error.what());
        }
    }
    return libraries;
}

}  // namespace vorn::common
