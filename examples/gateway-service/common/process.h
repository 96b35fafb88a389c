// SPDX-License-Identifier: MIT
#pragma once

#include "descriptors.h"

namespace gateway {

/// Opens /dev/null for each of the standard descriptors that is closed. Call it before anything
/// else: a program started without one of them would get that number for its own next descriptor,
/// and whatever is printed would land there.
void openStandardDescriptors();

/// SIGTERM and SIGINT set the returned descriptor from now on, on whatever thread they arrive.
///
/// Handlers rather than blocked signals and a signal descriptor: a blocked or ignored signal stays
/// so in every program that the process starts, a handled one does not.
const EventDescriptor& catchStopSignals();

/// SIGHUP sets the returned descriptor from now on.
const EventDescriptor& catchReloadSignal();

/// A write to a pipe that nobody reads any more is an error from now on and not the end of the
/// process. The programs that it starts have the default again, for the reason above.
void surviveBrokenPipes();

}  // namespace gateway
