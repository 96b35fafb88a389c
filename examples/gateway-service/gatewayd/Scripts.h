// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <vorn/common/ScriptExecutor.h>

#include "Jobs.h"
#include "Request.h"

namespace gateway {

/// Runs shell scripts in the background and tells how each ended, once.
///
/// One `ScriptExecutor` for each place: an executor looks at its scripts one after the other, up to
/// a second each, so with one for all of them a short script would wait behind the long ones.
///
/// A script is its shell: a time-out or `stop` kills that one process, and what it has started goes
/// on unless it takes its own end from it.
///
/// Threads: `onEnd` and `onFree` are called on an executor's thread.
class Scripts : private vorn::common::IScriptExecutorObserver {
  public:
    /// `onEnd` is called when a script has ended or outlived its time-out, `onFree` when its
    /// process is gone and its place may be used again. Whoever starts scripts counts them: each
    /// that runs at once costs two threads.
    Scripts(std::function<void(JobEnd)> onEnd,
            std::function<void(const vorn::common::Uuid&)> onFree);
    /// Waits for every running script, without limit.
    ~Scripts() override;

    /// Throws `std::exception` when the system has no further thread.
    void start(const RunRequest& request);
    /// Kills the script; its end is told as `Cancelled`. False when it is just being started: try
    /// again.
    [[nodiscard]] bool stop(const vorn::common::Uuid& uuid);

  private:
    struct Place {
        explicit Place(vorn::common::ScriptExecutor::Routine routine);

        vorn::common::ScriptExecutor executor;
        bool free = true;
        vorn::common::Uuid uuid;
    };
    class Running;

    int run(vorn::common::ScriptContext* context);
    [[nodiscard]] Place& freePlace();
    void onScriptFinished(const vorn::common::Script& script, int result) override;
    void onScriptTimeout(const vorn::common::Script& script) override;

    std::function<void(JobEnd)> onEnd_;
    std::function<void(const vorn::common::Uuid&)> onFree_;

    std::mutex mutex_;
    std::map<std::string, vorn::common::ScriptContext*> running_;  // guarded by mutex_
    std::set<std::string> cancelled_;                              // guarded by mutex_
    std::set<std::string> timedOut_;                               // guarded by mutex_
    std::vector<std::unique_ptr<Place>> places_;  // guarded by mutex_, save at the end
};

}  // namespace gateway
