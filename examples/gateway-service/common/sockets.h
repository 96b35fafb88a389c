#pragma once

#include <string>

#include "descriptors.h"

namespace gateway {

/// Where a service listens, and a client looks for it, when nobody names a socket: what the
/// environment variable GATEWAYD_SOCKET says; else, for a user with a run-time directory, its
/// "gatewayd/gatewayd.sock"; else "/run/gatewayd/gatewayd.sock".
[[nodiscard]] std::string defaultSocket();

/// The same for a client, which prefers a service of its own user to the system's: the user's path
/// counts only when something stands there.
[[nodiscard]] std::string defaultSocketForClient();

/// A bound, listening, non-blocking stream socket at `path`, close-on-exec, with permissions 0660.
/// Throws `std::system_error`; EADDRINUSE when something already stands at the path.
[[nodiscard]] FileDescriptor listenAt(const std::string& path);

/// A blocking stream socket connected to `path`, close-on-exec. Throws `std::system_error`.
[[nodiscard]] FileDescriptor connectTo(const std::string& path);

}  // namespace gateway
