// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <future>
#include <type_traits>
#include <utility>

namespace helpers {

/// Runs `action` on a thread of its own; the future has what it returns or throws, and its
/// destructor waits. By way of std::function, because std::async is dear to compile for each kind
/// of action.
template <class Action>
[[nodiscard]] std::future<std::invoke_result_t<Action>> inBackground(Action action) {
    return std::async(std::launch::async,
                      std::function<std::invoke_result_t<Action>()>(std::move(action)));
}

}  // namespace helpers
