// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

#include "helpers/faults/calls.h"

namespace faults {

/// While it lives no further thread of this process can be created: pthread_create fails with
/// EAGAIN, and std::thread throws std::system_error.
class NoMoreThreads {
  public:
    /// The next `still` threads can.
    explicit NoMoreThreads(int still = 0) : calls_(Threads::All) {
        calls_.fail(Call::pthread_create, EAGAIN, still + 1, Calls::kLast);
    }

  private:
    Calls calls_;
};

/// While it lives this thread has that number for pthread_self, so that one thread can act for
/// many (the thread sanitizer knows better which thread it is: leave it out there).
class ThreadNumber {
  public:
    explicit ThreadNumber(unsigned long number) {
        calls_.hook(Call::pthread_self, [number](Invocation& call) {
            call.answer = static_cast<long>(number);
            return 0;
        });
    }

  private:
    Calls calls_;
};

}  // namespace faults
