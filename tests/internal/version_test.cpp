// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <vorn/common/version.h>

namespace {

TEST(Version, OfTheLibraryIsThatOfTheHeaders) {
    EXPECT_EQ(vorn::common::version(), VORN_GW_COMMON_VERSION);
    EXPECT_GE(VORN_GW_COMMON_VERSION, 30000);
}

}  // namespace
