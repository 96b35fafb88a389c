// SPDX-License-Identifier: MIT
#include <vorn/common/test/TestLauncher.h>

#include "helpers/layout.h"

template struct helpers::Fields<TestLauncher, &TestLauncher::failed, &TestLauncher::passed,
                                &TestLauncher::currentTest, &TestLauncher::failedTests>;

TEST(TestSupportLayout, FieldsStandInOrder) {
    helpers::expectFieldsInOrder(1);
}
