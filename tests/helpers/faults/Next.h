// SPDX-License-Identifier: MIT
#pragma once

#include <dlfcn.h>

#include <atomic>

namespace faults::interposition {

/// The definition that the program would use without this one. Looked up before main where
/// possible: a child of a process with threads had better not.
template <class Function>
class Next {
  public:
    constexpr explicit Next(const char* name) : name_(name) {}

    Function* resolve() {
        auto* function = function_.load(std::memory_order_relaxed);
        if (function == nullptr) {
            function = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name_));
            function_.store(function, std::memory_order_relaxed);
        }
        return function;
    }

    template <class... Arguments>
    auto operator()(Arguments... arguments) {
        return resolve()(arguments...);
    }

  private:
    const char* name_;
    std::atomic<Function*> function_{nullptr};
};

}  // namespace faults::interposition
