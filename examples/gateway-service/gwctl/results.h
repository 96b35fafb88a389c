#pragma once

#include "Session.h"

namespace gateway {

/// Prints how a script or program ended and returns gwctl's exit code for it.
[[nodiscard]] int showResult(const Session& session, const Reply& result);

/// The exit code alone.
[[nodiscard]] int exitCodeOf(const Reply& result);

}  // namespace gateway
