// SPDX-License-Identifier: MIT

// A service's settings: loaded at start-up, changed in memory, written back lazily with a backup.
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/fs/TemporaryDirectory.h>
#include <vorn/common/fs/tools.h>
#include <vorn/common/settings/JsonSettings.h>

namespace fs = vorn::common::fs;
using namespace vorn::common;

namespace {

class ModemSettings : public settings::JsonSettings {
  public:
    std::string apn = "internet";
    bool loaded = false;

  private:
    bool loadSettings(const std::string& version, const lwjson::Deserializer& settings) override {
        if (version == "1") {
            apn = settings["apn"].as<std::string>();
        }
        loaded = true;
        return true;
    }

    std::pair<std::string, lwjson::Serializer> saveSettings() const override {
        lwjson::Serializer settings;
        settings.appendKey("apn");
        settings.addValue(apn);
        settings.finalize();
        return {"1", settings};
    }
};

void runService(const std::string& path, const std::string& newApn) {
    fs::CachedFileManager files;
    fs::CachedFileManager::Options options;
    const bool stored = std::filesystem::exists(path) || std::filesystem::exists(path + ".bak");
    options.saveDefaults = !stored;
    files.add(std::make_unique<ModemSettings>(), path, options);

    const auto locked = files.getHandler(typeid(ModemSettings)).lock();
    auto& modem = static_cast<ModemSettings&>(locked.get());
    if (stored && !modem.loaded) {
        // No memory, or a damaged file: writing now would replace it with defaults.
        throw std::runtime_error("cannot load " + path);
    }
    std::cout << "started with " << modem.apn << '\n';
    modem.apn = newApn;
    locked.write();  // after half a second, or when the manager is destroyed
}

}  // namespace

int main() {
    const fs::TemporaryDirectory directory;
    const auto path = directory.path() + "/modem.json";
    runService(path, "field");
    runService(path, "factory");
    std::cout << fs::tools::readFile(path) << '\n';
    return 0;
}
