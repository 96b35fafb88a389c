// SPDX-License-Identifier: MIT
#pragma once

#include "helpers/faults/calls.h"

namespace faults::interposition {

/// Asks the objects of `Calls` about a call: 0 when it is to be made, otherwise its error.
int errorOf(Invocation& invocation);

/// The system's own sched_yield.
void yield();

}  // namespace faults::interposition
