#include "SettingsFile.h"

#include <memory>
#include <typeindex>

namespace gateway {

SettingsFile::SettingsFile(const std::string& path) {
    manager_.add(std::make_unique<Settings>(), path);
}

vorn::common::stream::StreamableHandler& SettingsFile::handler() {
    return manager_.getHandler(typeid(Settings));
}

void SettingsFile::read(const std::function<void(const Settings&)>& reader) {
    auto locked = handler().lock();
    reader(dynamic_cast<const Settings&>(locked.get()));
}

void SettingsFile::change(const std::function<void(Settings&)>& changer) {
    auto locked = handler().lock();
    changer(dynamic_cast<Settings&>(locked.get()));
    locked.write();
}

void SettingsFile::changeNow(const std::function<void(Settings&)>& changer) {
    auto locked = handler().lock();
    changer(dynamic_cast<Settings&>(locked.get()));
    locked.write();
    locked.flush();
}

}  // namespace gateway
