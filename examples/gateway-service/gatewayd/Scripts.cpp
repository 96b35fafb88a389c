#include "Scripts.h"

#include <algorithm>
#include <utility>

namespace gateway {

using vorn::common::Script;
using vorn::common::Uuid;

// One place more than scripts: a script's end is told before the executor has its place free.
Scripts::Scripts(unsigned most, std::function<void(const ScriptEnd&)> onEnd,
                 std::function<void(const Uuid&)> onFree)
    : onEnd_(std::move(onEnd)),
      onFree_(std::move(onFree)),
      executor_(most + 1, vorn::common::kDefaultScriptRoutine) {
    executor_.start();
}

bool Scripts::start(const RunRequest& request) {
    return executor_.execute(request.script, static_cast<IScriptExecutorObserver*>(this),
                             request.timeout);
}

// The executor repeats this until the killed process is gone.
void Scripts::onScriptTimeout(const Script& script) {
    if (std::find(timedOut_.begin(), timedOut_.end(), script.uuid) == timedOut_.end()) {
        timedOut_.push_back(script.uuid);
        onEnd_({script.uuid, true, std::nullopt});
    }
}

void Scripts::onScriptFinished(const Script& script, int result) {
    const bool timedOut = std::erase(timedOut_, script.uuid) != 0;
    if (!timedOut) {
        onEnd_({script.uuid, false, result < 0 ? std::nullopt : std::optional(result)});
    }
    onFree_(script.uuid);
}

}  // namespace gateway
