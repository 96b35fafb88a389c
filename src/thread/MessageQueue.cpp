// SPDX-License-Identifier: MIT
#include "thread/MessageQueue.h"

namespace vorn::common::internal {

MessageQueue::MessageQueue(OverflowPolicy policy, std::uint32_t maximum)
    : policy_(policy), maximum_(maximum) {}

void MessageQueue::reserve() {
    const std::lock_guard lock(mutex_);
    messages_.reserve(1);
}

void MessageQueue::send(const thread::Message& message) {
    std::unique_lock lock(mutex_);
    // Before anything is dropped to make room: a send that throws changes nothing.
    messages_.reserve(2);
    if (accept(message)) {
        // The taker needs the lock as soon as it is awake.
        lock.unlock();
        available_.notify_one();
    }
}

std::size_t MessageQueue::size() const {
    const std::lock_guard lock(mutex_);
    return messages_.size();
}

bool MessageQueue::makeRoom() {
    if (policy_ == OverflowPolicy::Unbounded || messages_.size() < maximum_) {
        return true;
    }
    if (policy_ == OverflowPolicy::RejectWhenFull) {
        return false;
    }
    if (!messages_.empty()) {
        static_cast<void>(messages_.pop());
    }
    return true;
}

bool MessageQueue::accept(const thread::Message& message) {
    if (!makeRoom()) {
        return false;
    }
    messages_.push({message.msgClass(), message.msgType()});
    return true;
}

}  // namespace vorn::common::internal
