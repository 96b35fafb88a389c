#pragma once

#include <vorn/common/fs/CachedFileManager.h>
#include <functional>
#include <string>

#include "Settings.h"

namespace gateway {

/// The service's settings in memory, and their file, which a `CachedFileManager` keeps up to date
/// half a second after a change, with the previous version beside it (".bak"). A kill at any moment
/// leaves a readable file; it costs the changes of that half second unless they were made durable.
class SettingsFile {
  public:
    /// Reads the file, its backup if that fails, and starts from the defaults if that fails too.
    explicit SettingsFile(const std::string& path);

    /// Reads or changes the settings under their lock. `change` schedules a write, `changeNow`
    /// returns when the file has been written.
    void read(const std::function<void(const Settings&)>& reader);
    void change(const std::function<void(Settings&)>& changer);
    void changeNow(const std::function<void(Settings&)>& changer);

  private:
    [[nodiscard]] vorn::common::stream::StreamableHandler& handler();

    vorn::common::fs::CachedFileManager manager_;
};

}  // namespace gateway
