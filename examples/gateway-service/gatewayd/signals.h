#pragma once

#include "EventDescriptor.h"

namespace gateway {

/// SIGTERM and SIGINT set the returned descriptor from now on, on whatever thread they arrive.
///
/// Handlers rather than blocked signals and a signal descriptor: a blocked or ignored signal stays
/// so in every script that the service starts, a handled one does not. For the same reason SIGPIPE
/// is not ignored; the server sends with MSG_NOSIGNAL.
const EventDescriptor& catchStopSignals();

}  // namespace gateway
