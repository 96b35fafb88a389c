// SPDX-License-Identifier: MIT
#include "vorn/common/fs/CachedFileManager.h"

#include <algorithm>
#include <stdexcept>
#include <typeinfo>
#include <utility>

#include <vorn/common/stream/StreamAccessors.h>

#include "fs/wakeUpTime.h"

namespace vorn::common::fs {

CachedFileManager::~CachedFileManager() {
    // Without the mutex: the loop takes it to see the request.
    thread_.request_stop();
    if (thread_.joinable()) {
        thread_.join();
    }
    // Here and not with the members: a handler that writes tells the manager, which must be whole.
    handlers_.clear();
}

void CachedFileManager::add(std::unique_ptr<stream::IStreamable> object, const std::string& path,
                            const Options& options) {
    if (!object) {
        throw std::invalid_argument("CachedFileManager::add - Error: null object");
    }
    // A name of its own, because typeid of an expression with a call draws a warning.
    const auto& dynamicObject = *object;
    const std::type_index type(typeid(dynamicObject));
    reserve(type);
    // A map of its own: handlers have stable addresses, which users and notifiers know, so the node
    // moves into the manager's map and not the handler.
    Handlers added;
    try {
        load(added, type, std::move(object), path, options);
    } catch (...) {
        // Destroyed before the lock is taken, because destruction writes and tells the manager.
        added.clear();
        const std::lock_guard lock(mutex_);
        reserved_.erase(type);
        throw;
    }
    std::unique_lock lock(mutex_);
    reserved_.erase(type);
    handlers_.merge(added);
    wakeUpLoop(std::move(lock));
}

stream::StreamableHandler& CachedFileManager::getHandler(const std::type_index& type) {
    const std::lock_guard lock(mutex_);
    const auto found = handlers_.find(type);
    if (found == handlers_.end()) {
        // The text that the standard library's `at` has with another compiler; this one's differs.
        throw std::out_of_range("_Map_base::at");
    }
    return found->second;
}

void CachedFileManager::remove(const std::type_index& type) {
    std::unique_lock lock(mutex_);
    const auto found = handlers_.find(type);
    if (found == handlers_.end()) {
        throw std::out_of_range("CachedFileManager::remove - Error: object not found");
    }
    reserved_.insert(type);
    auto removed = handlers_.extract(found);
    // Destroying waits for a user of the object, who may be on the way to the manager's lock. The
    // type stays reserved meanwhile, so that no second object of it writes the same file.
    lock.unlock();
    removed = {};
    lock.lock();
    reserved_.erase(type);
}

void CachedFileManager::onRunTimepointChange() {
    wakeUpLoop(std::unique_lock(mutex_));
}

void CachedFileManager::wakeUpLoop(std::unique_lock<std::mutex> lock) {
    if (!lock.owns_lock()) {
        lock = std::unique_lock(mutex_);
    }
    wakeUp_ = true;
    // Before the notification, or the loop would wake up only to wait for the lock.
    lock.unlock();
    changed_.notify_all();
}

int CachedFileManager::loop(std::stop_token stopToken) {
    std::unique_lock lock(mutex_);
    while (!stopToken.stop_requested()) {
        auto next = std::chrono::steady_clock::time_point::max();
        for (auto& [type, handler] : handlers_) {
            next = std::min(next, handler.run());
        }
        // An object that is locked stays due: without a pause this would spin until it is released.
        next = internal::wakeUpTime(next, std::chrono::steady_clock::now());
        changed_.wait_until(lock, stopToken, next, [this] { return wakeUp_; });
        wakeUp_ = false;
    }
    return 0;
}

void CachedFileManager::reserve(const std::type_index& type) {
    const std::lock_guard lock(mutex_);
    if (!thread_.joinable()) {
        thread_ = std::jthread([this](std::stop_token stopToken) { loop(std::move(stopToken)); });
    }
    if (handlers_.count(type) != 0 || reserved_.count(type) != 0) {
        throw std::invalid_argument(
            "CachedFileManager::add - Error: attempt to add twice the same object type");
    }
    // While nothing has happened yet: a merge that needs memory and gets none drops what it moves,
    // and with the library of GCC 11 it ends the process.
    handlers_.reserve(handlers_.size() + reserved_.size() + 1);
    reserved_.insert(type);
}

void CachedFileManager::load(Handlers& handlers, const std::type_index& type,
                             std::unique_ptr<stream::IStreamable> object, const std::string& path,
                             const Options& options) {
    const auto backupPath = path + ".bak";
    auto& handler =
        handlers
            .try_emplace(type, std::move(object),
                         stream::make_ofstreamBuilder(path, options.openMode, options.permissions,
                                                      options.useBackup ? backupPath : ""),
                         *this, options.writeDelay)
            .first->second;

    // Defaults from the fallback file do not count: they would take the place of a good backup.
    const bool loaded =
        handler.load(stream::make_ifstreamBuilder(path)) ||
        (options.useBackup && handler.load(stream::make_ifstreamBuilder(backupPath)));
    if (!loaded && !options.fallbackPath.empty()) {
        static_cast<void>(handler.load(stream::make_ifstreamBuilder(options.fallbackPath)));
    }
    if (loaded || options.saveDefaults) {
        // In the current format at once, and after a start from the backup alone both files again.
        const auto locked = handler.lock();
        locked.write();
        locked.flush();
    }
}

}  // namespace vorn::common::fs
