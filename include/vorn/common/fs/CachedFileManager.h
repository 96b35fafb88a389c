// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <ios>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <typeindex>
#include <unordered_map>
#include <unordered_set>

#include <vorn/common/export.h>
#include <vorn/common/stream/IStreamable.h>
#include <vorn/common/stream/StreamableHandler.h>

/// Files and directories, their locks, and objects kept in them.
namespace vorn::common::fs {

/// Keeps a service's persistent objects in memory, one per type, each backed by one file. A change
/// is written by a background thread some time after it was scheduled; each write goes to the
/// backup (the path and ".bak"), which then changes places with the file, so that the backup holds
/// the version before.
///
///     fs::CachedFileManager files;
///     files.add(std::make_unique<Settings>(), "/var/lib/gateway/settings.json");
///     auto locked = files.getHandler(typeid(Settings)).lock();
///     static_cast<Settings&>(locked.get()).name = "gateway";
///     locked.write();                                       // on disk half a second later
///
/// With `useBackup` and a mode that empties the file, a process killed at any instant leaves a
/// complete version in the file or in its backup, and the next `add` loads it. See
/// stream::FileOutputStreamAccessor for power cuts and full devices.
///
/// Threads: all operations from any. Locks are taken in this order: an object's lock
/// (LockedStreamable), the manager's mutex, an object's schedule lock. The loop tries an object's
/// lock under the manager's mutex without waiting. So a holder of a LockedStreamable may write,
/// flush and add; it must not `remove` its own type or destroy the manager, which wait for it.
/// Lifetime: the destructor stops and joins the loop at once, then writes what is pending. Nobody
/// else uses the manager, or a handler of it, by then.
///
/// **A good file that could not be loaded for want of memory or of a descriptor (or of permission
/// to read it) counts as not loaded; the next write then replaces it with what the object holds,
/// and the one after that replaces the backup too.** A service that must not lose it lets its
/// object note that it was loaded, and when it was not although the file exists, ends or restarts
/// instead of writing (and leaves `saveDefaults` off while the file exists):
///
///     const bool stored = std::filesystem::exists(path) || std::filesystem::exists(path + ".bak");
///     ...                                                   // options.saveDefaults = !stored; add
///     if (stored && !settings.loaded) return EXIT_FAILURE;  // the supervisor starts us again
///
/// Deliberate: the manager's mutex is held while due objects are written, so add, remove and
/// getHandler wait for that; `serialize` must not call the manager.
/// Deliberate: a failed write is dropped, and nothing is reported; see StreamableHandler.
class VORN_GW_COMMON_EXPORT CachedFileManager : public stream::StreamableHandler::Observer {
  public:
    /// How one object is loaded and stored.
    struct Options {
        /// Write the object when it is added even if nothing could be loaded. Default: a missing
        /// file stays missing until the first change is written.
        bool saveDefaults = false;
        /// The mode of the written file; `out` is added.
        std::ios_base::openmode openMode = std::ios_base::trunc;
        /// Given to the written file exactly, whatever the umask. The default is 0600.
        std::filesystem::perms permissions =
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;
        /// The delay of LockedStreamable::write(): how much a kill can cost, and how many changes
        /// are gathered into one write.
        std::chrono::milliseconds writeDelay = std::chrono::milliseconds(500);
        /// A file (factory settings) to load from when neither the file nor its backup loads.
        /// Loading it does not count as loaded: without saveDefaults nothing is written. Empty:
        /// none.
        std::string fallbackPath = {};
        /// Write through the backup path, and load from it when the file does not load.
        bool useBackup = true;
    };
    /// Those of `Options()`, for the default argument.
    static const Options kDefaultOptions;

    /// Starts no thread; the first `add` does.
    CachedFileManager() = default;
    ~CachedFileManager() override;
    CachedFileManager(const CachedFileManager&) = delete;
    CachedFileManager& operator=(const CachedFileManager&) = delete;

    /// Registers the object under its dynamic type. Loads it from `path`, else from the backup,
    /// else from the fallback file; when one of the first two loaded (or with saveDefaults) writes
    /// it at once in the current format.
    ///
    /// Throws std::invalid_argument for a null object, and "CachedFileManager::add - Error: attempt
    /// to add twice the same object type" while that type is registered, being added or being
    /// removed, whatever the path. What `deserialize` throws beside standard exceptions passes
    /// through. Throws std::system_error when the system has no further thread for the loop, which
    /// the first call starts. In both cases the object is gone and nothing is registered.
    void add(std::unique_ptr<stream::IStreamable> object, const std::string& path,
             const Options& options = kDefaultOptions);

    /// Throws std::out_of_range "_Map_base::at" for an unknown type.
    ///
    /// Deliberate: the reference dies with `remove`; whoever calls that sees to it that nobody uses
    /// the handler any more.
    [[nodiscard]] stream::StreamableHandler& getHandler(const std::type_index& type);

    /// Writes a pending change and destroys the object. Waits for a LockedStreamable of another
    /// thread, without keeping the manager from working. Throws std::out_of_range
    /// "CachedFileManager::remove - Error: object not found" for an unknown type.
    void remove(const std::type_index& type);

    /// Wakes the loop; the handlers call it. Takes the manager's mutex.
    void onRunTimepointChange() override;

    /// The same with the manager's mutex held, or not held, by `lock`; releases it.
    void wakeUpLoop(std::unique_lock<std::mutex> lock);

    /// The body of the manager's thread: writes what is due, then sleeps until the next deadline
    /// (an hour at most), a wake-up or a stop. An object that is due but locked is tried again
    /// after 20 milliseconds. Returns 0 when a stop is requested.
    int loop(std::stop_token stopToken);

  private:
    using Handlers = std::unordered_map<std::type_index, stream::StreamableHandler>;

    VORN_GW_COMMON_HIDDEN void reserve(const std::type_index& type);
    VORN_GW_COMMON_HIDDEN void load(Handlers& handlers, const std::type_index& type,
                                    std::unique_ptr<stream::IStreamable> object,
                                    const std::string& path, const Options& options);

    Handlers handlers_;  // guarded by mutex_
    std::mutex mutex_;
    std::condition_variable_any changed_;
    bool wakeUp_ = false;                           // guarded by mutex_
    std::unordered_set<std::type_index> reserved_;  // being added or removed; guarded by mutex_
    std::jthread thread_;                           // guarded by mutex_
};

inline const CachedFileManager::Options CachedFileManager::kDefaultOptions{};

}  // namespace vorn::common::fs
