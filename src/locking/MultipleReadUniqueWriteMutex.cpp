// SPDX-License-Identifier: MIT
#include "vorn/common/locking/MultipleReadUniqueWriteMutex.h"

#include <cerrno>
#include <system_error>

namespace vorn::common::locking {
namespace {

// The other errors say that the object is none, or that there are 2^31 readers: nothing to add.
void throwOnDeadlock(int error) {
    if (error == EDEADLK) {
        throw std::system_error(error, std::generic_category());
    }
}

}  // namespace

MultipleReadUniqueWriteMutex::~MultipleReadUniqueWriteMutex() {
    ::pthread_rwlock_destroy(&rwlock_);
}

void MultipleReadUniqueWriteMutex::lock() {
    // Kept while waiting: readers that come later stay behind it, so they cannot overtake.
    const std::lock_guard passing(gate_);
    throwOnDeadlock(::pthread_rwlock_wrlock(&rwlock_));
}

void MultipleReadUniqueWriteMutex::lock_shared() {
    const std::lock_guard passing(gate_);
    int error = 0;
    // EAGAIN: more readers than can be counted; some of them will leave.
    do {
        error = ::pthread_rwlock_rdlock(&rwlock_);
    } while (error == EAGAIN);
    throwOnDeadlock(error);
}

bool MultipleReadUniqueWriteMutex::try_lock() {
    const std::unique_lock passing(gate_, std::try_to_lock);
    return passing && ::pthread_rwlock_trywrlock(&rwlock_) != EBUSY;
}

bool MultipleReadUniqueWriteMutex::try_lock_shared() {
    const std::unique_lock passing(gate_, std::try_to_lock);
    if (!passing) {
        return false;
    }
    // Whatever else is reported counts as locked, as it does in lock_shared().
    const int error = ::pthread_rwlock_tryrdlock(&rwlock_);
    return error != EBUSY && error != EAGAIN;
}

void MultipleReadUniqueWriteMutex::unlock() noexcept {
    // Without the gate: whoever waits for this unlock is the one who holds it.
    ::pthread_rwlock_unlock(&rwlock_);
}

void MultipleReadUniqueWriteMutex::unlock_shared() noexcept {
    unlock();
}

}  // namespace vorn::common::locking
