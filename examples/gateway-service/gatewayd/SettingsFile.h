// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <vorn/common/stream/StreamableHandler.h>
#include <vorn/common/time/Timer.h>

#include "Settings.h"
#include "sockets.h"

namespace gateway {

/// Loads an object from a file or, when that is missing or does not load, from its backup (".bak").
/// Without both the object keeps its defaults.
///
/// A file that does not load is renamed to its name and ".unreadable" (with a number behind, when
/// that exists), so that nothing that is written later replaces it. Returns what was wrong; empty
/// when the file loaded or there was none.
///
/// Throws, leaving everything as it is, when a file exists and nobody knows what is in it: it is no
/// regular file, reading fails, or memory does not hold it. Its owner must then not go on with
/// defaults, which would replace it some time.
[[nodiscard]] std::string loadKept(vorn::common::stream::IStreamable& object,
                                   const std::string& path);

/// Replaces the content of a file in one step, with the previous version beside it (".bak"), and
/// reads it back. Throws `std::runtime_error` saying why it could not; the file and its backup then
/// are what they were.
void storeKept(const std::string& path, const std::string& content);

/// The service's settings in memory, and their file, which no other service uses meanwhile.
///
/// A `StreamableHandler` keeps the two together. A service that may lose half a second of changes
/// and need not know whether they were stored takes a `CachedFileManager` instead, which is this
/// handler, a timer and a writer of files in one; this service acknowledges changes.
class SettingsFile : private vorn::common::stream::StreamableHandler::Observer {
  public:
    /// Called, by whichever thread writes, when storing begins to fail (with the reason) and when
    /// it works again (with nothing).
    using OnTrouble = std::function<void(const std::string&)>;

    /// Loads the file as `loadKept` does. `delay`: after how long a `change` is on disk. Throws
    /// `std::runtime_error` when another service uses the file, and what `loadKept` throws.
    SettingsFile(const std::string& path, std::chrono::seconds delay, OnTrouble onTrouble);
    /// Writes what is pending.
    ~SettingsFile() override = default;

    /// What was wrong with the file when it was loaded; empty: nothing.
    [[nodiscard]] const std::string& foundTrouble() const { return foundTrouble_; }

    /// Reads the settings under their lock.
    void read(const std::function<void(const Settings&)>& reader);
    /// Changes them; they are on disk after the delay.
    void change(const std::function<void(Settings&)>& changer);
    /// Changes them and returns when they are on disk. Throws `std::runtime_error` saying why they
    /// are not; they are then as they were.
    void changeNow(const std::function<void(Settings&)>& changer);
    /// Writes what is pending.
    void flush();

  private:
    class Writing;

    void onRunTimepointChange() override;
    void wakeIn(std::chrono::milliseconds time);
    void writeDue();
    void store(const std::string& content);
    void tell(const std::string& trouble);

    const std::string path_;
    const std::chrono::milliseconds delay_;
    const OnTrouble onTrouble_;
    std::optional<FileLock> lock_;
    std::string foundTrouble_;
    // Under the handler's object lock, as every writing is:
    std::string trouble_;
    std::string toldTrouble_;
    vorn::common::stream::StreamableHandler handler_;
    vorn::common::time::Timer timer_;
};

}  // namespace gateway
