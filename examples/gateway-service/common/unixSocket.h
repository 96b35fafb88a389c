#pragma once

#include <string>

#include "FileDescriptor.h"

namespace gateway {

/// A bound, listening, non-blocking stream socket at `path`, close-on-exec, with permissions 0660.
/// Throws `std::system_error`; EADDRINUSE when something already stands at the path.
[[nodiscard]] FileDescriptor listenAt(const std::string& path);

/// A blocking stream socket connected to `path`, close-on-exec. Throws `std::system_error`.
[[nodiscard]] FileDescriptor connectTo(const std::string& path);

}  // namespace gateway
