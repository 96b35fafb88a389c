// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "internal/assert.h"

namespace {

using vorn::common::internal::assertionFailed;

void requireEqual(int left, int right) {
    VORN_ASSERT(left == right);
}

TEST(AssertDeathTest, NamesFunctionAndCondition) {
    EXPECT_DEATH(requireEqual(1, 2), "requireEqual.*Assertion `left == right' failed");
}

TEST(AssertDeathTest, ShowsTheFileAsAPathInTheRepository) {
    EXPECT_DEATH(assertionFailed("/somewhere/else/src/ThreadPool.cpp", 7, "f", "c"),
                 "^src/ThreadPool.cpp:7: f: Assertion `c' failed");
    EXPECT_DEATH(assertionFailed("/usr/src/common/src/ThreadPool.cpp", 7, "f", "c"),
                 "^src/ThreadPool.cpp:7: ");
    EXPECT_DEATH(assertionFailed("elsewhere.cpp", 7, "f", "c"), "^elsewhere.cpp:7: ");
}

TEST(Assert, EvaluatesItsConditionOnce) {
    int calls = 0;
    VORN_ASSERT(++calls == 1);
    EXPECT_EQ(calls, 1);
}

}  // namespace
