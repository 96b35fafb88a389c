// SPDX-License-Identifier: MIT
#include <memory>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/StronglyTyped.h>

namespace {

using vorn::common::ModelTag;
using vorn::common::StronglyTyped;
using vorn::common::VendorTag;
using Vendor = StronglyTyped<std::string, VendorTag>;
using Model = StronglyTyped<std::string, ModelTag>;

static_assert(!std::is_convertible_v<std::string, Vendor>);
static_assert(!std::is_constructible_v<Vendor, Model>);
static_assert(!std::is_constructible_v<Model, Vendor>);
static_assert(std::is_same_v<decltype(std::declval<const Vendor&>().get()), const std::string&>);

TEST(StronglyTyped, HoldsItsValue) {
    EXPECT_EQ(Vendor("Acme").get(), "Acme");
    const StronglyTyped<std::unique_ptr<int>, VendorTag> owner(std::make_unique<int>(7));
    EXPECT_EQ(*owner.get(), 7);
}

TEST(StronglyTyped, ComparesItsValues) {
    EXPECT_EQ(Vendor("a"), Vendor("a"));
    EXPECT_NE(Vendor("a"), Vendor("b"));
    EXPECT_LT(Vendor("a"), Vendor("b"));
}

}  // namespace
