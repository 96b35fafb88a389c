#pragma once

#include <vorn/common/thread/Message.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>

namespace vorn::common::internal {

/// What a queue does with a message that comes when it holds its maximum.
enum class OverflowPolicy : std::uint32_t {
    Unbounded = 0,       ///< accepts it: there is no maximum
    RejectWhenFull = 1,  ///< drops it
    DropOldest = 2,      ///< removes the oldest one and accepts it
};

/// First in, first out, for any number of senders and takers. Keeps class and type of a message.
class MessageQueue {
  public:
    MessageQueue(OverflowPolicy policy, std::uint32_t maximum) noexcept;
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    void send(const thread::Message& message);
    /// Waits for a message.
    [[nodiscard]] thread::Message take();
    [[nodiscard]] std::size_t size() const;

  private:
    [[nodiscard]] bool makeRoom();

    const OverflowPolicy policy_;
    const std::uint32_t maximum_;
    mutable std::mutex mutex_;
    std::condition_variable available_;
    std::deque<thread::Message> messages_;  // guarded by mutex_
};

}  // namespace vorn::common::internal
