// SPDX-License-Identifier: MIT
#include "vorn/common/RecursiveSharedMutex.h"

#include <pthread.h>

#include <bit>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "internal/spin.h"
#include "posix/sleep.h"

// How it works. The plain form is one mutex over a count, an owner and a map of readers. Here the
// owner is one atomic word and most readers are one atomic word each, so that a lock which nobody
// contends for touches nothing else. Both kinds enter by the same two steps: write the own word,
// marked as tentative, then look at the others'. Of two that enter at once at least one sees the
// other (all four accesses are sequentially consistent), and gives way.
//
// Whatever is not clear at once is decided as in the plain form, under mutex_, with the owner's
// word marked as watched ("closed"): nobody enters or leaves by it alone then, and a tentative word
// is waited for, which its thread decides within a few instructions and without mutex_. So the
// answers are those of the plain form. It stays closed while somebody waits or the map has an
// entry.
//
// A word marked as watched is given back under mutex_, where its waiter is told. Nothing is touched
// after a word was given back without it: the next owner may already have destroyed the object.

namespace vorn::common {
namespace {

using Holder = std::uintptr_t;

// A thread's number is the address of its control block, so these bits are free.
constexpr Holder kTentative = 1;
constexpr Holder kWatched = 2;
static_assert(sizeof(pthread_t) == sizeof(Holder));

// About two microseconds: longer than what is usually done under a lock, shorter than a sleep.
constexpr int kAttempts = 50;

Holder thisThread() noexcept {
    return std::bit_cast<Holder>(::pthread_self());
}

constexpr Holder threadOf(Holder word) noexcept {
    return word & ~(kTentative | kWatched);
}

/// Whether the owner's word shows somebody who holds the lock for certain.
constexpr bool isOwned(Holder word) noexcept {
    return threadOf(word) != 0 && (word & kTentative) == 0;
}

/// The word, once its thread has decided.
Holder settled(const std::atomic<Holder>& word) noexcept {
    constexpr int kBriefLooks = 100;
    for (int look = 0;; ++look) {
        const Holder seen = word.load();
        if ((seen & kTentative) == 0) {
            return seen;
        }
        if (look < kBriefLooks) {
            internal::pause();
        } else {
            // It was interrupted in between, perhaps by this thread of a higher priority.
            internal::sleepFor(std::chrono::microseconds(50));
        }
    }
}

}  // namespace

// Inline, because calls of exported functions could be replaced and so are never inlined.

inline RecursiveSharedMutex::Slot& RecursiveSharedMutex::homeOf(Holder self) noexcept {
    // Control blocks stand at the ends of stacks, whose distance is a power of two and one guard
    // page: the pages of threads that were made one after the other are so, too.
    constexpr unsigned kPageBits = 12;
    return slots_[(self >> kPageBits) % kSlots];
}

inline RecursiveSharedMutex::Slot* RecursiveSharedMutex::slotOf(Holder self) noexcept {
    Slot& home = homeOf(self);
    if (threadOf(home.reader.load(std::memory_order_relaxed)) == self) {
        return &home;
    }
    if (displaced_.load(std::memory_order_relaxed) != 0) {
        for (auto& slot : slots_) {
            if (threadOf(slot.reader.load(std::memory_order_relaxed)) == self) {
                return &slot;
            }
        }
    }
    return nullptr;
}

inline RecursiveSharedMutex::Slot* RecursiveSharedMutex::claimSlot(Holder self,
                                                                   Holder marks) noexcept {
    Slot& home = homeOf(self);
    const auto claim = [&](Slot& slot) {
        Holder nobody = 0;
        return slot.reader.load(std::memory_order_relaxed) == 0 &&
               slot.reader.compare_exchange_strong(nobody, self | marks);
    };
    if (claim(home)) {
        return &home;
    }
    for (auto& slot : slots_) {
        if (claim(slot)) {
            displaced_.fetch_add(&slot == &home ? 0 : 1, std::memory_order_relaxed);
            return &slot;
        }
    }
    return nullptr;
}

inline void RecursiveSharedMutex::forgetSlot(Slot& slot, Holder self) noexcept {
    if (&slot != &homeOf(self)) {
        displaced_.fetch_sub(1, std::memory_order_relaxed);
    }
}

inline bool RecursiveSharedMutex::isOwner(Holder self) const noexcept {
    // Only this thread writes its own number, so that an old value cannot deceive it.
    return threadOf(owner_.load(std::memory_order_relaxed)) == self;
}

inline bool RecursiveSharedMutex::isClosed() const noexcept {
    return (owner_.load(std::memory_order_relaxed) & kWatched) != 0;
}

inline RecursiveSharedMutex::Entry RecursiveSharedMutex::tryOwn(Holder self) noexcept {
    Holder seen = owner_.load(std::memory_order_relaxed);
    if (seen != 0 || !owner_.compare_exchange_strong(seen, self | kTentative)) {
        return isOwned(seen) ? Entry::Refused : Entry::Unclear;
    }
    for (const auto& slot : slots_) {
        if (const Holder reader = slot.reader.load(); reader != 0 && threadOf(reader) != self) {
            owner_.store(0, std::memory_order_release);
            return (reader & kTentative) == 0 ? Entry::Refused : Entry::Unclear;
        }
    }
    uniqueLocks_ = 1;
    owner_.store(self, std::memory_order_release);
    return Entry::Taken;
}

inline RecursiveSharedMutex::Entry RecursiveSharedMutex::tryShare(Holder self) noexcept {
    Holder seen = owner_.load(std::memory_order_relaxed);
    if (seen != 0 && seen != self) {
        return isOwned(seen) && threadOf(seen) != self ? Entry::Refused : Entry::Unclear;
    }
    Slot* const slot = claimSlot(self, kTentative);
    if (slot == nullptr) {
        return Entry::Unclear;
    }
    seen = owner_.load();
    if (seen == 0 || seen == self) {
        slot->locks = 1;
        slot->reader.store(self, std::memory_order_release);
        return Entry::Taken;
    }
    forgetSlot(*slot, self);
    slot->reader.store(0, std::memory_order_release);
    return isOwned(seen) && threadOf(seen) != self ? Entry::Refused : Entry::Unclear;
}

void RecursiveSharedMutex::lock() {
    const Holder self = thisThread();
    if (isOwner(self)) {
        ++uniqueLocks_;
        return;
    }
    if (tryOwn(self) != Entry::Taken) {
        waitToOwn(self);
    }
}

bool RecursiveSharedMutex::try_lock() {
    const Holder self = thisThread();
    if (isOwner(self)) {
        ++uniqueLocks_;
        return true;
    }
    const Entry entry = tryOwn(self);
    if (entry != Entry::Unclear) {
        return entry == Entry::Taken;
    }
    const std::lock_guard lock(mutex_);
    const bool enters = close() == 0 && !othersShare(self, false);
    if (enters) {
        uniqueLocks_ = 1;
        owner_.store(self | kWatched);
    }
    open();
    return enters;
}

void RecursiveSharedMutex::unlock() {
    const Holder self = thisThread();
    if (const Holder owner = owner_.load(std::memory_order_relaxed); !isOwner(self)) {
        throw std::logic_error(isOwned(owner) ? "Cannot unique-unlock because of the wrong thread"
                                              : "Cannot unique-unlock because not uniqly locked");
    }
    if (--uniqueLocks_ != 0) {
        return;
    }
    if (Holder expected = self; !owner_.compare_exchange_strong(expected, 0)) {
        unlockWatched(self);
    }
}

void RecursiveSharedMutex::lock_shared() {
    const Holder self = thisThread();
    if (Slot* const own = slotOf(self); own != nullptr) {
        ++own->locks;
        return;
    }
    if (tryShare(self) != Entry::Taken) {
        waitToShare(self);
    }
}

bool RecursiveSharedMutex::try_lock_shared() {
    const Holder self = thisThread();
    if (Slot* const own = slotOf(self); own != nullptr) {
        ++own->locks;
        return true;
    }
    const Entry entry = tryShare(self);
    if (entry != Entry::Unclear) {
        return entry == Entry::Taken;
    }
    const std::lock_guard lock(mutex_);
    const Holder owner = close();
    if (owner != 0 && owner != self) {
        open();
        return false;
    }
    addSharedLock(self);
    return true;
}

void RecursiveSharedMutex::unlock_shared() {
    const Holder self = thisThread();
    Slot* const own = slotOf(self);
    if (own == nullptr) {
        unlockSharedInMap(self);
        return;
    }
    if (own->locks > 1) {
        --own->locks;
        return;
    }
    forgetSlot(*own, self);
    if (Holder expected = self; !own->reader.compare_exchange_strong(expected, 0)) {
        unlockWatched(*own, self);
    }
}

void RecursiveSharedMutex::waitToOwn(Holder self) {
    for (int attempt = 0; attempt < kAttempts && !isClosed(); ++attempt) {
        internal::pause();
        if (tryOwn(self) == Entry::Taken) {
            return;
        }
    }
    std::unique_lock lock(mutex_);
    auto& turn = isSharing(self) ? upgraders_ : writers_;
    ++waiting_;
    // Both each time: an owner may hold a shared lock too, and keep it for longer.
    for (;;) {
        const bool owned = close() != 0;
        if (!othersShare(self, true) && !owned) {
            break;
        }
        turn.wait(lock);
    }
    --waiting_;
    uniqueLocks_ = 1;
    owner_.store(self | kWatched);
    open();
}

void RecursiveSharedMutex::waitToShare(Holder self) {
    for (int attempt = 0; attempt < kAttempts && !isClosed(); ++attempt) {
        internal::pause();
        if (tryShare(self) == Entry::Taken) {
            return;
        }
    }
    std::unique_lock lock(mutex_);
    ++waiting_;
    for (Holder owner = close(); owner != 0 && owner != self; owner = close()) {
        readers_.wait(lock);
    }
    --waiting_;
    addSharedLock(self);
}

/// Nobody enters or leaves without mutex_ from here on, but for readers in unwatched slots, who may
/// leave. Returns the owner.
Holder RecursiveSharedMutex::close() noexcept {
    for (;;) {
        Holder seen = settled(owner_);
        if ((seen & kWatched) != 0 || owner_.compare_exchange_strong(seen, seen | kWatched)) {
            return threadOf(seen);
        }
    }
}

void RecursiveSharedMutex::open() noexcept {
    if (!mustStayClosed()) {
        owner_.store(threadOf(owner_.load()));
    }
}

bool RecursiveSharedMutex::mustStayClosed() const noexcept {
    return waiting_ != 0 || !overflow_.empty();
}

bool RecursiveSharedMutex::isSharing(Holder self) noexcept {
    return slotOf(self) != nullptr || overflow_.contains(self);
}

/// Whether others than this thread hold shared locks; with `watch` those in slots are made to
/// release them under mutex_.
bool RecursiveSharedMutex::othersShare(Holder self, bool watch) noexcept {
    bool found = false;
    for (auto& slot : slots_) {
        Holder reader = settled(slot.reader);
        while (reader != 0 && threadOf(reader) != self) {
            if (!watch || (reader & kWatched) != 0 ||
                slot.reader.compare_exchange_strong(reader, reader | kWatched)) {
                found = true;
                break;
            }
            reader = settled(slot.reader);
        }
    }
    return found || overflow_.size() > (overflow_.contains(self) ? 1u : 0u);
}

std::size_t RecursiveSharedMutex::sharingThreads() noexcept {
    std::size_t count = overflow_.size();
    for (const auto& slot : slots_) {
        count += settled(slot.reader) != 0 ? 1 : 0;
    }
    return count;
}

void RecursiveSharedMutex::addSharedLock(Holder self) {
    if (const auto own = overflow_.find(self); own != overflow_.end()) {
        ++own->second;
    } else if (Slot* const slot = claimSlot(self, waiting_ != 0 ? kWatched : 0); slot != nullptr) {
        slot->locks = 1;
    } else {
        addToMap(self);
    }
    open();
}

void RecursiveSharedMutex::addToMap(Holder self) {
    if (!spareNodes_.empty()) {
        auto node = spareNodes_.extract(spareNodes_.begin());
        node.key() = self;
        node.mapped() = 1;
        overflow_.insert(std::move(node));
        return;
    }
    try {
        overflow_.emplace(self, 1);
    } catch (...) {
        open();
        throw;
    }
}

void RecursiveSharedMutex::unlockWatched(Holder self) {
    Holder expected = self;
    do {
        const std::lock_guard lock(mutex_);
        if (mustStayClosed()) {
            owner_.store(kWatched);
            readers_.notify_all();
            if (sharingThreads() == 0) {
                writers_.notify_one();
            }
            return;
        }
        // Whoever closed it was only looking.
        owner_.store(self);
        expected = self;
    } while (!owner_.compare_exchange_strong(expected, 0));
}

void RecursiveSharedMutex::unlockWatched(Slot& own, Holder self) {
    Holder expected = self;
    do {
        const std::lock_guard lock(mutex_);
        if (waiting_ != 0) {
            own.reader.store(0);
            wakeAfterSharedUnlock();
            return;
        }
        // Whoever watched has entered and left meanwhile.
        own.reader.store(self);
        expected = self;
    } while (!own.reader.compare_exchange_strong(expected, 0));
}

void RecursiveSharedMutex::unlockSharedInMap(Holder self) {
    const std::lock_guard lock(mutex_);
    const auto own = overflow_.find(self);
    if (own == overflow_.end()) {
        static_cast<void>(close());
        const bool shared = sharingThreads() != 0;
        open();
        throw std::logic_error(shared ? "Cannot shared-unlock because of the wrong thread"
                                      : "Cannot shared-unlock because not sharedly locked");
    }
    if (--own->second == 0) {
        spareNodes_.insert(spareNodes_.begin(), overflow_.extract(own));
        // Not opened here: the next one to lock does it, who must come through mutex_ until then.
        wakeAfterSharedUnlock();
    }
}

void RecursiveSharedMutex::wakeAfterSharedUnlock() noexcept {
    if (threadOf(owner_.load()) != 0) {
        return;
    }
    const std::size_t left = sharingThreads();
    if (left == 0) {
        writers_.notify_one();
    } else if (left == 1) {
        // Upgraders hold shared locks themselves, so there is at most this one.
        upgraders_.notify_one();
    }
}

}  // namespace vorn::common
