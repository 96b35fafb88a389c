#pragma once

#include <vorn/common/thread/MessageThread.h>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

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

    CommandThread();
    ~CommandThread();
    CommandThread(const CommandThread&) = delete;
    CommandThread& operator=(const CommandThread&) = delete;

    /// Queues a command, which must not throw. After `stop` commands are dropped.
    void post(Command command);
    /// Lets the running command end and drops the others; returns when no command runs any more.
    void stop();

  private:
    void runNext();

    std::mutex mutex_;
    std::deque<Command> commands_;  // guarded by mutex_
    bool stopped_ = false;          // guarded by mutex_
    std::unique_ptr<vorn::common::thread::MessageThread> thread_;
};

}  // namespace gateway
