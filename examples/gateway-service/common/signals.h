#pragma once

#include "EventDescriptor.h"

namespace gateway {

/// SIGTERM and SIGINT set the returned descriptor from now on, on whatever thread they arrive.
///
/// Handlers rather than blocked signals and a signal descriptor: a blocked or ignored signal stays
/// so in every program that the process starts, a handled one does not. For the same reason SIGPIPE
/// is not ignored; sockets are written with MSG_NOSIGNAL.
const EventDescriptor& catchStopSignals();

}  // namespace gateway
