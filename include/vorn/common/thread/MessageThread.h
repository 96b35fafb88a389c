// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include <vorn/common/export.h>
#include <vorn/common/thread/Message.h>

namespace vorn::common::internal {
class MessageQueue;
}

/// Threads that handle messages.
namespace vorn::common::thread {

/// A thread that calls one handler for every message, in the order of sending, so that what the
/// handler alone touches needs no lock:
///
///     thread::MessageThread link([&](const thread::Message& message) { onEvent(message); });
///     link.start();
///     link.sendMessage(thread::Message(kLink, kConnected));
///
/// | State       | start            | sendMessage | terminate   | waitForTerminate      |
/// |-------------|------------------|-------------|-------------|-----------------------|
/// | created     | started          | queued      | no effect   | returns at once       |
/// | started     | no effect        | handled     | terminating | joins when terminated |
/// | terminating | ends the process | queued      | no effect   | returns at once       |
/// | joined      | started          | queued      | no effect   | returns at once       |
///
/// Terminating lasts until a waitForTerminate() that was entered before terminate(), or the
/// destructor, has joined the thread. After terminate the first message that the thread takes ends
/// it unhandled, and those behind it stay queued.
/// Deliberate: messages left unhandled by terminate, the terminate message (0, 0xDEADBEEF) itself
/// too, reach the handler after a restart.
///
/// Threads: one owner calls start, waitForTerminate and the destructor; anybody may send, terminate
/// and ask isStarted, the handler too. The handler must not destroy the object or wait for its end.
/// Deliberate: an exception that leaves the handler ends the process, and so does the first message
/// for an empty handler (std::bad_function_call).
/// Lifetime: senders have returned before the object is destroyed (a terminate() that has woken the
/// owner need not have); what the handler refers to lives as long as the object. The queue has no
/// limit: whoever sends faster than the handler works fills the memory. Each object costs a stack
/// of the default size (often 8 MB of address space).
class VORN_GW_COMMON_EXPORT MessageThread {
  public:
    /// Does not start the thread. Throws std::bad_alloc when out of memory.
    explicit MessageThread(std::function<void(const Message&)> handler);

    /// As terminate(); waits for the handler. Messages still queued are dropped.
    ~MessageThread();

    MessageThread(const MessageThread&) = delete;
    MessageThread& operator=(const MessageThread&) = delete;

    /// Starts the thread; does nothing when it is started. Messages sent before are handled first.
    /// Throws std::system_error when the thread cannot be created, and std::bad_alloc when out of
    /// memory; it is not started then.
    /// Deliberate: while a former thread has not been joined, the process ends.
    void start();

    /// True from start() to terminate(), although the thread may still run after that.
    [[nodiscard]] bool isStarted() const noexcept;

    /// Queues the message's class and type, in any state.
    /// Throws std::bad_alloc or std::length_error when the queue cannot grow.
    /// @{
    void sendMessage(Message&& message);
    void sendMessage(const Message& message);
    /// @}

    /// Requests the end; does not wait. Does nothing unless started. Needs no memory.
    void terminate();

    /// Waits until the thread has ended after somebody's terminate().
    /// Deliberate: returns at once, without joining, when terminate() was called before.
    void waitForTerminate();

  private:
    VORN_GW_COMMON_HIDDEN void loop();

    std::atomic<bool> started_ = false;
    std::thread thread_;
    std::function<void(const Message&)> handler_;
    std::unique_ptr<internal::MessageQueue> queue_;
};

}  // namespace vorn::common::thread
