// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

#include <vorn/common/thread/Message.h>

#include "thread/BlockQueue.h"

namespace vorn::common::internal {

/// What a queue does with a message that comes when it holds its maximum.
enum class OverflowPolicy : std::uint32_t {
    Unbounded = 0,       ///< accepts it: there is no maximum
    RejectWhenFull = 1,  ///< drops it
    DropOldest = 2,      ///< removes the oldest one and accepts it
};

/// First in, first out, for any number of senders and takers. Keeps class and type of a message.
/// Every accepted send() leaves the room for one message behind, so that one sendIf() after it
/// needs no memory.
class MessageQueue {
  public:
    MessageQueue(OverflowPolicy policy, std::uint32_t maximum);
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    /// Makes room for one message, which the next sendIf() needs no memory for.
    void reserve();

    void send(const thread::Message& message);

    /// Sends when `condition`, asked under the lock, holds. Notifies under the lock too: whoever
    /// takes the message by takeIf() may destroy the queue while this still returns.
    template <class Condition>
    void sendIf(Condition condition, const thread::Message& message) {
        const std::lock_guard lock(mutex_);
        if (condition() && accept(message)) {
            available_.notify_one();
        }
    }

    /// Waits for a message and removes it; empty when `condition`, asked under the lock, fails.
    template <class Condition>
    [[nodiscard]] std::optional<thread::Message> takeIf(Condition condition) {
        std::unique_lock lock(mutex_);
        available_.wait(lock, [this] { return !messages_.empty(); });
        const Entry entry = messages_.pop();
        if (!condition()) {
            return std::nullopt;
        }
        return thread::Message(entry.msgClass, entry.msgType);
    }

    [[nodiscard]] std::size_t size() const;

  private:
    struct Entry {
        unsigned int msgClass = 0;
        unsigned int msgType = 0;
    };

    [[nodiscard]] bool makeRoom();
    [[nodiscard]] bool accept(const thread::Message& message);

    const OverflowPolicy policy_;
    const std::uint32_t maximum_;
    mutable std::mutex mutex_;
    std::condition_variable available_;
    BlockQueue<Entry> messages_;  // guarded by mutex_
};

}  // namespace vorn::common::internal
