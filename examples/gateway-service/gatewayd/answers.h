#pragma once

#include <vorn/common/Binder.h>
#include <vorn/common/Uuid.h>
#include <string>

#include "Jobs.h"
#include "Settings.h"
#include "State.h"

namespace gateway {

// The lines that the service says. The README shows each.

/// A request that is understood and cannot be served now.
[[nodiscard]] std::string refusal(const std::string& reason);

/// A request that is not understood; `what` names the member or the place that is wrong.
[[nodiscard]] std::string complaint(const std::string& what);

[[nodiscard]] std::string accepted(const vorn::common::Uuid& uuid);

/// How a job ended, with what a program wrote.
[[nodiscard]] std::string resultLine(const JobEnd& end);

/// The answers to "result": the job runs, or it has ended.
[[nodiscard]] std::string runningAnswer(const std::string& uuid);
[[nodiscard]] std::string endedAnswer(const JobEnd& end);

/// The answer to "cancel".
[[nodiscard]] std::string cancelAnswer(const std::string& uuid);

/// The answer to "bind" and "unbind", with the server's time.
[[nodiscard]] std::string bindingAnswer(const std::string& kind, vorn::common::Binder::Error result,
                                        unsigned time);

/// Tells a bound client that the service has ended its binding.
[[nodiscard]] std::string unboundNotice();

/// Tells a client that the service closes its connection because nothing was said over it.
[[nodiscard]] std::string idleNotice();

/// The answer to "settings" and to "set".
[[nodiscard]] std::string settingsLine(const Settings& settings);

/// The answer to "status".
[[nodiscard]] std::string statusLine(const State& state);

/// One line for the log.
[[nodiscard]] std::string reportText(const State& state);

}  // namespace gateway
