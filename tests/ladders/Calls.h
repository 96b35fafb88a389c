// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <vector>

#include "helpers/faults/calls.h"
#include "ladders/Trial.h"

namespace ladders {

/// A system call, by its numbers on this machine and by the C library call that makes it, and the
/// errors with which it is known to fail.
struct CallErrors {
    const char* name;
    std::vector<long> numbers;
    std::vector<faults::Call> calls;
    std::vector<int> errors;
};

/// The calls that fail. Missing are those that cannot fail with good arguments, and the errors that
/// say what would not be true: close fails, but has closed the descriptor; ESRCH and ECHILD mean
/// that there is no such process.
const std::vector<CallErrors>& callErrors();

/// Lets one call of this process and of its children fail.
class CallFault : public Fault {
  public:
    /// What goes on, in memory that children share.
    struct State {
        std::atomic<bool> active{false};
        std::atomic<int> calls{0};
        std::atomic<int> failingCall{0};  ///< from 1; 0: none
        std::atomic<int> failingError{0};
        std::atomic<int> struck{-1};  ///< which of callErrors()
    };

    /// Both live until the process ends, since a thread looks at them. Null where it cannot work.
    static CallFault* bySeccomp(State& state);
    static CallFault* byInterposition(State& state);

    void begin() override;
    void end() override;
    [[nodiscard]] bool struck() const override { return state_.struck >= 0; }
    [[nodiscard]] bool deniedMemory() const override;

  protected:
    explicit CallFault(State& state) : state_(state) {}

    State& state_;
};

/// The errno with which a call is to fail now, or 0.
int errorNow(CallFault::State& state, int index);

}  // namespace ladders
