#include "internal/MessageQueue.h"

namespace vorn::common::internal {

MessageQueue::MessageQueue(OverflowPolicy policy, std::uint32_t maximum) noexcept
    : policy_(policy), maximum_(maximum) {}

void MessageQueue::send(const thread::Message& message) {
    // Notified under the lock: the message may let the taker destroy the queue.
    const std::lock_guard lock(mutex_);
    if (makeRoom()) {
        messages_.emplace_back(message.msgClass(), message.msgType());
        available_.notify_one();
    }
}

thread::Message MessageQueue::take() {
    std::unique_lock lock(mutex_);
    available_.wait(lock, [this] { return !messages_.empty(); });
    const thread::Message message = messages_.front();
    messages_.pop_front();
    return message;
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

}  // namespace vorn::common::internal
