// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <vorn/common/thread/MessageThread.h>

#include "Log.h"

namespace gateway {

/// Runs commands one after the other on one thread, in the order of posting, so that what they
/// touch needs no lock.
///
/// A `MessageThread` carries two numbers per message and no data: a message here says "one command
/// more is in the queue".
///
/// Threads: `post` from any thread, from a command too; `stop` from the owner's.
class CommandThread {
  public:
    using Command = std::function<void()>;

    CommandThread()
        : thread_(std::make_unique<vorn::common::thread::MessageThread>(
              [this](const vorn::common::thread::Message& message) {
                  if (message.msgClass() == kCommandClass && message.msgType() == kOneMore) {
                      runNext();
                  }
              })) {
        thread_->start();
    }
    ~CommandThread() { stop(); }
    CommandThread(const CommandThread&) = delete;
    CommandThread& operator=(const CommandThread&) = delete;

    /// Queues a command. One that throws goes no further, and the log says so. After `stop`
    /// commands are dropped.
    void post(Command command) {
        const std::lock_guard lock(mutex_);
        if (!stopped_) {
            commands_.push_back(std::move(command));
            try {
                thread_->sendMessage({kCommandClass, kOneMore});
            } catch (...) {
                commands_.pop_back();  // else each message would run the command before its own
                throw;
            }
        }
    }

    /// Lets the running command end and drops the others; returns when no command runs any more.
    void stop() {
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        thread_.reset();
    }

  private:
    static constexpr unsigned kCommandClass = 1;
    static constexpr unsigned kOneMore = 1;

    void runNext() {
        Command command;
        {
            const std::lock_guard lock(mutex_);
            command = std::move(commands_.front());
            commands_.pop_front();
        }
        try {
            command();
        } catch (const std::exception& failure) {
            log::error(std::string("a command failed: ") + failure.what());
        } catch (...) {
            log::error("a command failed");
        }
    }

    std::mutex mutex_;
    std::deque<Command> commands_;  // guarded by mutex_
    bool stopped_ = false;          // guarded by mutex_
    std::unique_ptr<vorn::common::thread::MessageThread> thread_;
};

}  // namespace gateway
