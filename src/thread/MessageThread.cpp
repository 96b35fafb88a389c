// SPDX-License-Identifier: MIT
#include "vorn/common/thread/MessageThread.h"

#include <exception>
#include <limits>
#include <utility>

#include "thread/MessageQueue.h"

namespace vorn::common::thread {
namespace {

// Made anew by each terminate: nothing to initialise before, or to destroy after, static objects.
Message terminateMessage() noexcept {
    return Message(0, 0xDEADBEEF);
}

}  // namespace

MessageThread::MessageThread(std::function<void(const Message&)> handler)
    : handler_(std::move(handler)),
      queue_(std::make_unique<internal::MessageQueue>(internal::OverflowPolicy::Unbounded,
                                                      std::numeric_limits<std::uint32_t>::max())) {}

MessageThread::~MessageThread() {
    terminate();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void MessageThread::start() {
    if (started_) {
        return;
    }
    // Whoever terminates must not need memory: without it the thread could never be ended.
    queue_->reserve();
    if (started_.exchange(true)) {
        return;
    }
    // To assign to a joinable thread would end the process too; this says that it is meant.
    if (thread_.joinable()) {
        std::terminate();
    }
    try {
        thread_ = std::thread([this] { loop(); });
    } catch (...) {
        started_ = false;
        throw;
    }
}

bool MessageThread::isStarted() const noexcept {
    return started_;
}

void MessageThread::sendMessage(Message&& message) {
    queue_->send(message);
}

void MessageThread::sendMessage(const Message& message) {
    queue_->send(message);
}

void MessageThread::terminate() {
    // Flag and message in one step under the queue's lock: the loop that sees the flag down finds
    // this call out of the queue, and its owner may destroy both.
    if (started_) {
        queue_->sendIf([this] { return started_.exchange(false); }, terminateMessage());
    }
}

void MessageThread::waitForTerminate() {
    if (started_ && thread_.joinable()) {
        thread_.join();
    }
}

void MessageThread::loop() {
    while (const auto message = queue_->takeIf([this] { return started_.load(); })) {
        handler_(*message);
    }
}

}  // namespace vorn::common::thread
