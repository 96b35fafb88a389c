#pragma once
#include <sstream>

#include <vorn/common/settings/JsonSettings.h>
#include <vorn/common/stream/StreamAccessors.h>

#include "start.h"

class Settings : public vorn::common::settings::JsonSettings {
  public:
    std::string label = "unnamed";

    /// Leaves the defaults where there is no file. One that merely cannot be read (rights, memory,
    /// a later version) is an error: with the first change defaults would overwrite it.
    void load(const std::string& path) try {
        if (std::filesystem::exists(std::filesystem::symlink_status(path))) {
            if (std::istringstream content(readSmallFile(path)); !deserialize(content)) {
                throw std::runtime_error("no settings");
            }
        }
    } catch (const std::exception& error) {
        throw std::runtime_error("mend or move away " + path + ": " + error.what());
    }

    /// Returns when `path` holds the settings; when it throws, `path` is as it was. The accessor
    /// could exchange the files itself, but does so after a failed write too, and reports nothing.
    void store(const std::string& path) const {
        vorn::common::stream::FileOutputStreamAccessor file(path + ".new", std::ios::trunc,
                                                            std::filesystem::perms(0600), "");
        serialize(file.stream());
        file.commit();
        Settings stored;
        stored.load(path + ".new");
        if (stored.label != label) {
            throw std::runtime_error("not stored; look at text, rights and space of " + path);
        }
        std::filesystem::rename(path + ".new", path);  // a kill leaves the former or the new state
    }

  private:
    bool loadSettings(const std::string& version,
                      const vorn::common::lwjson::Deserializer& settings) override {
        if (version != "1") {
            throw std::runtime_error("not version 1");
        }
        label = settings["label"].as<std::string>();
        return true;
    }

    std::pair<std::string, vorn::common::lwjson::Serializer> saveSettings() const override {
        vorn::common::lwjson::Serializer settings;
        settings.appendKey("label");
        settings.addValue(label);
        settings.finalize();
        return {"1", settings};
    }
};
