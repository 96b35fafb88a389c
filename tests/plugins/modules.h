// SPDX-License-Identifier: MIT
#pragma once

#include <dlfcn.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "helpers/TempDir.h"

/// The plug-in libraries built for the tests, and what they tell.
namespace modules {

inline std::string path(const std::string& name) {
    return std::string(VORN_TEST_PLUGINS) + "/" + name + ".so";
}

/// A file of its own, so that the dynamic loader takes it for another library.
inline std::string copy(const helpers::TempDir& dir, const std::string& name,
                        const std::string& newName) {
    auto target = dir.file(newName);
    std::filesystem::copy_file(path(name), target);
    return target;
}

inline bool isLoaded(const std::string& file) {
    void* const handle = ::dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) {
        ::dlclose(handle);
    }
    return handle != nullptr;
}

/// Collects the lines that plug-ins write while it lives.
class Events {
  public:
    Events() { ::setenv("VORN_TEST_EVENTS", dir_.file("events").c_str(), 1); }
    ~Events() { ::unsetenv("VORN_TEST_EVENTS"); }

    [[nodiscard]] std::string text() const { return helpers::contentOf(dir_.file("events")); }

  private:
    helpers::TempDir dir_;
};

}  // namespace modules
