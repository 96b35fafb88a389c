// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include "helpers/faults/calls.h"

namespace faults::interposition {

/// Asks the objects of `Calls` about a call: 0 when it is to be made, otherwise its error.
int errorOf(Invocation& invocation);

/// The system's own sched_yield and nanosleep.
void yield();
void pause(std::chrono::nanoseconds duration);

/// Lets the calling thread dawdle when the environment wants it (jitter.cpp).
void jitter();

}  // namespace faults::interposition
