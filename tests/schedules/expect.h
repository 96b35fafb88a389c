// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <iostream>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "schedules/explore.h"

namespace schedules {

/// Walks through the case with random decisions, always the same; in the long form 50 times as
/// often.
inline void expectNoFailureAtRandom(const std::function<void()>& body, int walks,
                                    Options options = {}) {
    options.walks = walks * (helpers::longForm() ? 50 : 1);
    const Result result = explore(body, options);
    EXPECT_EQ(result.failure, "");
    std::cout << result.schedules << " schedules at random\n";
}

/// Explores the case, in the long form with one preemption more, and walks through it too.
inline void expectNoFailure(const std::function<void()>& body, Options options = {}) {
    options.preemptions += helpers::longForm() ? 1 : 0;
    const Result result = explore(body, options);
    EXPECT_EQ(result.failure, "");
    std::cout << result.schedules << " schedules, complete with at most " << options.preemptions
              << " preemptions\n";
    expectNoFailureAtRandom(body, 200, options);
}

}  // namespace schedules
