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

}  // namespace faults
