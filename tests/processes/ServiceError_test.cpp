// SPDX-License-Identifier: MIT
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/service/ServiceError.h>

namespace {

using vorn::common::service::ServiceError;

TEST(ServiceError, CarriesItsMessage) {
    static_assert(std::is_base_of_v<std::exception, ServiceError>);
    static_assert(!std::is_base_of_v<std::runtime_error, ServiceError>);
    std::string text = "Failed to get UID of somebody";
    const ServiceError error(text);
    text = "another";
    EXPECT_STREQ(error.what(), "Failed to get UID of somebody");
    EXPECT_STREQ(ServiceError("").what(), "");
}

TEST(ServiceError, IsCaughtAsAStandardException) {
    try {
        throw ServiceError("told");
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "told");
    }
}

}  // namespace
