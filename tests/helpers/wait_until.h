// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <thread>

namespace helpers {

/// Polls until `condition` holds; false when it does not within the (generous) limit.
template <class Condition>
[[nodiscard]] bool waitUntil(Condition condition,
                             std::chrono::seconds limit = std::chrono::seconds(60)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace helpers
