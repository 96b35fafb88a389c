#pragma once

#include <vorn/common/ScriptExecutor.h>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Request.h"

namespace gateway {

/// How a script ended.
struct ScriptEnd {
    vorn::common::Uuid uuid;
    bool timedOut = false;
    std::optional<int> exitCode;  ///< empty when a signal killed it
};

/// Runs scripts in the background and tells how each ended, once.
///
/// Threads: `onEnd` and `onFree` are called on the executor's thread.
class Scripts : private vorn::common::IScriptExecutorObserver {
  public:
    /// `onEnd` is called when a script has ended or outlived its time-out, `onFree` when its
    /// process is gone and its place may be used again. At most `most` scripts may run at once;
    /// whoever starts them counts.
    Scripts(unsigned most, std::function<void(const ScriptEnd&)> onEnd,
            std::function<void(const vorn::common::Uuid&)> onFree);

    /// False when the executor refuses: it has been stopped.
    [[nodiscard]] bool start(const RunRequest& request);
    /// Waits for every running script, without limit: its time-out is no longer looked at.
    void stop() { executor_.terminate(); }

  private:
    void onScriptFinished(const vorn::common::Script& script, int result) override;
    void onScriptTimeout(const vorn::common::Script& script) override;

    std::function<void(const ScriptEnd&)> onEnd_;
    std::function<void(const vorn::common::Uuid&)> onFree_;
    std::vector<vorn::common::Uuid> timedOut_;  // seen by the executor's thread alone
    vorn::common::ScriptExecutor executor_;
};

}  // namespace gateway
