// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <vorn/common/ThreadPool.h>

#include "Jobs.h"
#include "Request.h"

namespace gateway {

/// Runs programs in the background, takes both of their outputs while they run, and tells how each
/// ended, once.
///
/// However much a program writes, `kMostOutput` bytes of each output are kept and the rest is read
/// and thrown away. A program has ended when its process has: what it left behind may hold its
/// outputs open, and goes on without a reader. It leads a process group, which a time-out or `stop`
/// kills as a whole.
///
/// Threads: `onEnd` and `onFree` are called on a thread of this object's own.
class Programs {
  public:
    /// At most `most` programs run at once, each on a thread; whoever starts them counts. `onEnd`
    /// is called when a program has ended or was told to, `onFree` when its process is gone.
    Programs(unsigned most, std::function<void(JobEnd)> onEnd,
             std::function<void(const vorn::common::Uuid&)> onFree);
    /// Waits for every running program.
    ~Programs();

    /// Returns before it is started: that waits for the file system. What cannot be started ends as
    /// `Failed`, with the reason as its errors. Throws `std::exception` when nobody can follow it.
    void start(const ExecRequest& request);
    /// Kills the program and its group, when it is not started yet as soon as it is; its end is
    /// told as `Cancelled`.
    void stop(const vorn::common::Uuid& uuid);

  private:
    class Running;

    void follow(Running& running);

    std::function<void(JobEnd)> onEnd_;
    std::function<void(const vorn::common::Uuid&)> onFree_;
    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<Running>> running_;  // guarded by mutex_
    vorn::common::ThreadPool followers_;
};

}  // namespace gateway
