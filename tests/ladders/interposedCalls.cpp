// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>

#include "ladders/Calls.h"

namespace ladders {
namespace {

int indexOf(const faults::Invocation& invocation) {
    const auto& table = callErrors();
    for (std::size_t i = 0; i < table.size(); ++i) {
        const auto& entry = table[i];
        const bool matches = invocation.call == faults::Call::syscall
                                 ? std::find(entry.numbers.begin(), entry.numbers.end(),
                                             invocation.id) != entry.numbers.end()
                                 : std::find(entry.calls.begin(), entry.calls.end(),
                                             invocation.call) != entry.calls.end();
        if (matches) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

class InterposedCalls : public CallFault {
  public:
    explicit InterposedCalls(State& state) : CallFault(state) {
        static_cast<void>(callErrors());  // made before blocks are counted
        calls_.hook([&state](const faults::Invocation& invocation) {
            return state.active ? errorNow(state, indexOf(invocation)) : 0;
        });
    }

  private:
    faults::Calls calls_{faults::Threads::All};
};

}  // namespace

CallFault* CallFault::byInterposition(State& state) {
    return new InterposedCalls(state);
}

}  // namespace ladders
