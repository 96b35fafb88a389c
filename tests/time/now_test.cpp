// SPDX-License-Identifier: MIT
#include <chrono>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/time/now.h>

namespace {

using vorn::common::time::now;

static_assert(std::is_same_v<decltype(now()), std::int64_t>);

std::int64_t monotonicSeconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

TEST(Now, CountsTheSecondsOfTheMonotonicClock) {
    for (int i = 0; i < 1000; ++i) {
        const auto before = monotonicSeconds();
        const auto seconds = now();
        EXPECT_GE(seconds, before);
        EXPECT_LE(seconds, monotonicSeconds());
    }
}

}  // namespace
