#include "vorn/common/RecursiveSharedMutex.h"

#include <stdexcept>
#include <utility>

namespace vorn::common {

void RecursiveSharedMutex::lock() {
    const auto self = std::this_thread::get_id();
    std::unique_lock lock(mutex_);
    const auto canEnter = [&] { return isOwner(self) || canBeginUniqueLock(self); };
    auto& turn = sharedLocks_.contains(self) ? upgraders_ : writers_;
    turn.wait(lock, canEnter);
    takeUniqueLock(self);
}

bool RecursiveSharedMutex::try_lock() {
    const auto self = std::this_thread::get_id();
    const std::lock_guard lock(mutex_);
    if (!isOwner(self) && !canBeginUniqueLock(self)) {
        return false;
    }
    takeUniqueLock(self);
    return true;
}

void RecursiveSharedMutex::unlock() {
    const auto self = std::this_thread::get_id();
    // Notified under the lock: a woken owner may destroy this object once it is released.
    const std::lock_guard lock(mutex_);
    decreaseUniqueLocks(self);
    if (uniqueLocks_ == 0) {
        readers_.notify_all();
        if (sharedLocks_.empty()) {
            writers_.notify_one();
        }
    }
}

void RecursiveSharedMutex::lock_shared() {
    const auto self = std::this_thread::get_id();
    std::unique_lock lock(mutex_);
    readers_.wait(lock, [&] { return canShare(self); });
    increaseSharedLocks(self);
}

bool RecursiveSharedMutex::try_lock_shared() {
    const auto self = std::this_thread::get_id();
    const std::lock_guard lock(mutex_);
    if (!canShare(self)) {
        return false;
    }
    increaseSharedLocks(self);
    return true;
}

void RecursiveSharedMutex::unlock_shared() {
    const auto self = std::this_thread::get_id();
    const std::lock_guard lock(mutex_);
    decreaseSharedLocks(self);
    if (uniqueLocks_ != 0) {
        return;
    }
    if (sharedLocks_.empty()) {
        writers_.notify_one();
    } else if (sharedLocks_.size() == 1) {
        // Upgraders hold shared locks themselves, so there is at most this one.
        upgraders_.notify_one();
    }
}

bool RecursiveSharedMutex::isOwner(ThreadId self) const {
    return uniqueLocks_ != 0 && uniqueOwner_ == self;
}

bool RecursiveSharedMutex::canBeginUniqueLock(ThreadId self) const {
    if (uniqueLocks_ != 0) {
        return false;
    }
    return sharedLocks_.empty() ||
           (sharedLocks_.size() == 1 && sharedLocks_.begin()->first == self);
}

bool RecursiveSharedMutex::canShare(ThreadId self) const {
    return uniqueLocks_ == 0 || uniqueOwner_ == self;
}

void RecursiveSharedMutex::increaseUniqueLocks() {
    ++uniqueLocks_;
}

void RecursiveSharedMutex::beginUniqueLock(ThreadId self) {
    uniqueOwner_ = self;
    ++uniqueLocks_;
}

void RecursiveSharedMutex::takeUniqueLock(ThreadId self) {
    if (isOwner(self)) {
        increaseUniqueLocks();
    } else {
        beginUniqueLock(self);
    }
}

void RecursiveSharedMutex::decreaseUniqueLocks(ThreadId self) {
    if (uniqueLocks_ == 0) {
        throw std::logic_error("Cannot unique-unlock because not uniqly locked");
    }
    if (uniqueOwner_ != self) {
        throw std::logic_error("Cannot unique-unlock because of the wrong thread");
    }
    --uniqueLocks_;
}

void RecursiveSharedMutex::increaseSharedLocks(ThreadId self) {
    if (const auto own = sharedLocks_.find(self); own != sharedLocks_.end()) {
        ++own->second;
    } else if (spareNodes_.empty()) {
        sharedLocks_.emplace(self, 1);
    } else {
        auto node = spareNodes_.extract(spareNodes_.begin());
        node.key() = self;
        node.mapped() = 1;
        sharedLocks_.insert(std::move(node));
    }
}

void RecursiveSharedMutex::decreaseSharedLocks(ThreadId self) {
    if (sharedLocks_.empty()) {
        throw std::logic_error("Cannot shared-unlock because not sharedly locked");
    }
    const auto own = sharedLocks_.find(self);
    if (own == sharedLocks_.end()) {
        throw std::logic_error("Cannot shared-unlock because of the wrong thread");
    }
    if (--own->second == 0) {
        spareNodes_.insert(spareNodes_.begin(), sharedLocks_.extract(own));
    }
}

}  // namespace vorn::common
