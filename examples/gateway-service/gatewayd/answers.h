#pragma once

#include <vorn/common/Binder.h>
#include <vorn/common/Uuid.h>
#include <optional>
#include <string>

#include "Programs.h"
#include "Settings.h"

namespace gateway {

// The lines that the service says, apart from the status (see State.h). The README shows each.

/// A request that is understood and cannot be served now.
[[nodiscard]] std::string refusal(const std::string& reason);

/// A request that is not understood; `what` names the member or the place that is wrong.
[[nodiscard]] std::string complaint(const std::string& what);

[[nodiscard]] std::string accepted(const vorn::common::Uuid& uuid);

/// How a script ended: with an exit code, or without one because a signal killed it.
[[nodiscard]] std::string scriptResult(const vorn::common::Uuid& uuid, std::optional<int> exitCode);
[[nodiscard]] std::string scriptTimeout(const vorn::common::Uuid& uuid);

/// How a program ended, with what it wrote.
[[nodiscard]] std::string programResult(const ProgramEnd& end);

/// The answer to "bind" and "unbind", with the server's time.
[[nodiscard]] std::string bindingAnswer(const std::string& kind, vorn::common::Binder::Error result,
                                        unsigned time);

/// Tells a bound client that the service has ended its binding.
[[nodiscard]] std::string unboundNotice();

/// The answer to "settings" and to "set".
[[nodiscard]] std::string settingsLine(const Settings& settings);

}  // namespace gateway
