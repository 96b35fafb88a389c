#include "vorn/common/cipher/helper.h"

#include <atomic>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>

#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/IPlugin.h>

namespace vorn::common::cipher {
namespace {

/// The libraries loaded so far, for ever: a list that only grows at its front, so that a reader
/// needs nothing but its head.
class LibraryCache {
  public:
    IPlugin& plugin(std::string_view path) {
        if (const Entry* known = find(path)) {
            return *known->library->object();
        }
        const std::lock_guard lock(loading_);
        if (const Entry* known = find(path)) {
            return *known->library->object();
        }
        std::string name(path);
        auto library = loadDynamicLibrary(name, {});
        const auto* entry = new Entry{std::move(name), std::move(library), newest_.load()};
        newest_.store(entry, std::memory_order_release);
        return *entry->library->object();
    }

  private:
    struct Entry {
        const std::string path;
        const std::shared_ptr<DynamicLibrary> library;
        const Entry* const next;
    };

    const Entry* find(std::string_view path) const noexcept {
        const Entry* entry = newest_.load(std::memory_order_acquire);
        while (entry != nullptr && entry->path != path) {
            entry = entry->next;
        }
        return entry;
    }

    std::atomic<const Entry*> newest_{nullptr};  // stored with loading_ held
    std::mutex loading_;
};

LibraryCache& libraryCache() {
    static auto& cache = *new LibraryCache;
    return cache;
}

void reportMissing(int line, const std::string_view& libraryPath,
                   const std::string_view& cipherName) {
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
