// SPDX-License-Identifier: MIT
#include "vorn/common/cipher/helper.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <iostream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/IPlugin.h>

#include "pluginLoading.h"

namespace vorn::common::cipher {
namespace {

struct Closer {
    void operator()(void* handle) const noexcept { ::dlclose(handle); }
};

/// The libraries loaded so far, for ever: a list that only grows at its front, so that a reader
/// needs nothing but its head.
class LibraryCache {
  public:
    IPlugin& plugin(std::string_view path) {
        const Entry* const known = find(path);
        return *(known != nullptr ? known : load(std::string(path)))->library->object();
    }

  private:
    struct Entry {
        const std::string path;
        const std::shared_ptr<DynamicLibrary> library;
        const Entry* next;
    };

    /// A path whose entry point is being called, and by whom.
    struct Call {
        std::string_view path;
        std::thread::id caller;
        bool operator==(const Call&) const = default;
    };

    /// Takes a path for this thread to call its entry point, unless the library is known by then.
    class Claim {
      public:
        /// Waits while another thread has the path, unless this one must not.
        Claim(LibraryCache& cache, std::string_view path, bool mayWait)
            : cache_(cache), call_{path, std::this_thread::get_id()} {
            std::unique_lock lock(cache_.mutex_);
            auto& calls = cache_.calls_;
            if (std::find(calls.begin(), calls.end(), call_) != calls.end()) {
                throw std::invalid_argument("Error loading " + std::string(path) +
                                            " library : it asks for itself while it is being "
                                            "loaded");
            }
            cache_.callEnded_.wait(lock, [&] {
                return !mayWait || std::none_of(calls.begin(), calls.end(),
                                                [path](const Call& c) { return c.path == path; });
            });
            calls.push_back(call_);
        }
        Claim(const Claim&) = delete;
        Claim& operator=(const Claim&) = delete;
        ~Claim() {
            {
                const std::lock_guard lock(cache_.mutex_);
                std::erase(cache_.calls_, call_);
            }
            cache_.callEnded_.notify_all();
        }

      private:
        LibraryCache& cache_;
        const Call call_;
    };

    const Entry* find(std::string_view path) const noexcept {
        const Entry* entry = newest_.load(std::memory_order_acquire);
        while (entry != nullptr && entry->path != path) {
            entry = entry->next;
        }
        return entry;
    }

    /// No lock is held while code of the library runs, which may ask for other ciphers.
    const Entry* load(std::string path) {
        // What asks while it is being loaded itself may hold the dynamic loader's lock, which every
        // loading thread needs: it waits for none of them, and rather calls an entry point again.
        const bool mayWait = !internal::PluginLoading::isUnderWay();
        const internal::PluginLoading loading;
        // The static initialisers run here, before anybody can wait for this thread: it is what
        // takes the dynamic loader's lock for long. A failure is reported by the load below.
        const std::unique_ptr<void, Closer> initialised(::dlopen(path.c_str(), RTLD_LAZY));
        const Claim claim(*this, path, mayWait);
        const Entry* const known = find(path);
        return known != nullptr ? known : publish(path, loadDynamicLibrary(path, {}));
    }

    /// The entry that other threads see; the first one stays.
    const Entry* publish(const std::string& path, std::shared_ptr<DynamicLibrary> library) {
        auto entry = std::make_unique<Entry>(Entry{path, std::move(library), nullptr});
        const std::lock_guard lock(mutex_);
        if (const Entry* const known = find(path)) {
            return known;
        }
        entry->next = newest_.load(std::memory_order_relaxed);
        newest_.store(entry.get(), std::memory_order_release);
        return entry.release();
    }

    std::atomic<const Entry*> newest_{nullptr};  // stored with mutex_ held
    std::mutex mutex_;
    std::vector<Call> calls_;  // guarded by mutex_
    std::condition_variable callEnded_;
};

LibraryCache& libraryCache() {
    // Never destroyed: threads and destructors of static objects may ask until the process ends.
    static auto& cache = *new LibraryCache;
    return cache;
}

void reportMissing(int line, const std::string_view& libraryPath,
                   const std::string_view& cipherName) {
    // In one piece, so that lines of several threads do not mix.
    std::string text = "[src/cipher/helper:" + std::to_string(line) +
                       "]: getCipherFromLib: failed to retrieve cipher: \"";
    text.append(cipherName).append("\" from lib: \"").append(libraryPath).append("\"\n");
    std::cerr << text;
}

}  // namespace

std::optional<CipherProxy> getCipherFromLib(const std::string_view& libraryPath,
                                            const std::string_view& cipherName) {
    auto cipher = libraryCache().plugin(libraryPath).getCipher(cipherName);
    if (!cipher.has_value()) {
        reportMissing(__LINE__, libraryPath, cipherName);
    }
    return cipher;
}

}  // namespace vorn::common::cipher
