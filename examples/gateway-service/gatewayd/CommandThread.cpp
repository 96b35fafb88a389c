#include "CommandThread.h"

#include <utility>

namespace gateway {

using vorn::common::thread::Message;
using vorn::common::thread::MessageThread;

namespace {

constexpr unsigned kCommandClass = 1;
constexpr unsigned kOneMore = 1;

}  // namespace

CommandThread::CommandThread()
    : thread_(std::make_unique<MessageThread>([this](const Message& message) {
          if (message.msgClass() == kCommandClass && message.msgType() == kOneMore) {
              runNext();
          }
      })) {
    thread_->start();
}

CommandThread::~CommandThread() {
    stop();
}

void CommandThread::post(Command command) {
    const std::lock_guard lock(mutex_);
    if (!stopped_) {
        commands_.push_back(std::move(command));
        thread_->sendMessage(Message(kCommandClass, kOneMore));
    }
}

void CommandThread::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
    }
    thread_.reset();
}

void CommandThread::runNext() {
    Command command;
    {
        const std::lock_guard lock(mutex_);
        command = std::move(commands_.front());
        commands_.pop_front();
    }
    command();
}

}  // namespace gateway
