#pragma once

#include "Session.h"

namespace gateway {

/// A status answer as a person wants to read it: several lines, no line feed at the end.
[[nodiscard]] std::string statusText(const Reply& status);

}  // namespace gateway
