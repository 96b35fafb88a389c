#include "thread/MessageQueue.h"

namespace vorn::common::internal {

MessageQueue::MessageQueue(OverflowPolicy policy, std::uint32_t maximum) noexcept
    : policy_(policy), maximum_(maximum) {}

void MessageQueue::send(const thread::Message& message) {
    std::unique_lock lock(mutex_);
    if (append(message)) {
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
        messages_.pop_front();
    }
    return true;
}

bool MessageQueue::append(const thread::Message& message) {
    if (!makeRoom()) {
        return false;
    }
    messages_.emplace_back(message.msgClass(), message.msgType());
    return true;
}

}  // namespace vorn::common::internal
