// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

namespace schedules {

/// The system's own pthread_create.
int realThread(pthread_t* thread, void* (*routine)(void*), void* argument);

}  // namespace schedules
