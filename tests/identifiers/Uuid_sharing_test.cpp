// SPDX-License-Identifier: MIT
#include <utility>

#include <gtest/gtest.h>

#include <vorn/common/Uuid.h>

#include "helpers/faults/allocation.h"

namespace {

using vorn::common::Uuid;

template <class Operation>
std::size_t allocationsOf(Operation operation) {
    const std::size_t before = faults::allocations();
    operation();
    return faults::allocations() - before;
}

TEST(UuidSharing, OneRecordAndTheBuffersOfItsFourTexts) {
    const Uuid::Bytes bytes{1, 2, 3};
    EXPECT_EQ(allocationsOf([&] { const Uuid uuid(bytes); }), 1U + 4U);
    EXPECT_EQ(allocationsOf([&] { const Uuid uuid("01020300-0000-0000-0000-000000000000"); }),
              1U + 4U);
}

TEST(UuidSharing, DefaultAndConstantsAllocateNothingToBeMadeOrCopied) {
    EXPECT_EQ(allocationsOf([] {
                  Uuid uuid;
                  uuid = Uuid::UNKNOWN;
                  const Uuid copy = Uuid::VORN_NAMESPACE;
                  EXPECT_FALSE(copy.isNil() || uuid.isNil());
              }),
              0U);
}

TEST(UuidSharing, ReadingFormatsNothing) {
    const Uuid uuid(Uuid::Bytes{1, 2, 3});
    EXPECT_EQ(Uuid::NIL.to_string().size(), 36U);
    EXPECT_EQ(allocationsOf([&] {
                  for (const Uuid* each : {&uuid, &Uuid::NIL}) {
                      EXPECT_EQ(&each->to_hex(), &each->to_hex());
                      EXPECT_EQ(&each->to_string(), &each->to_string());
                      EXPECT_EQ(&each->base64(), &each->base64());
                      EXPECT_EQ(&each->base64URL(), &each->base64URL());
                  }
              }),
              0U);
}

TEST(UuidSharing, CopiesShareTheValuesAndKeepThemAlive) {
    const std::string* text = nullptr;
    Uuid copy;
    {
        const Uuid uuid(Uuid::Bytes{0xAB});
        text = &uuid.to_string();
        EXPECT_EQ(allocationsOf([&] { copy = uuid; }), 0U);
    }
    EXPECT_EQ(&copy.to_string(), text);
    EXPECT_EQ(*text, "ab000000-0000-0000-0000-000000000000");
    EXPECT_EQ(&Uuid().to_string(), &Uuid::NIL.to_string());
    EXPECT_EQ(&Uuid().bytes(), &Uuid::NIL.bytes());
}

TEST(UuidSharing, MovedFromIdentifiersKeepTheirValue) {
    Uuid first(Uuid::Bytes{0xAB});
    const Uuid expected = first;
    const Uuid second = std::move(first);
    EXPECT_EQ(first, expected);
    EXPECT_EQ(second, expected);
    Uuid third;
    third = std::move(first);
    EXPECT_EQ(first.to_string(), expected.to_string());
    EXPECT_EQ(third.to_string(), expected.to_string());
}

TEST(UuidSharing, AssignsToItself) {
    Uuid uuid(Uuid::Bytes{0xAB});
    const Uuid& same = uuid;
    uuid = same;
    EXPECT_EQ(uuid.bytes()[0], 0xAB);
    uuid = Uuid::NIL;
    EXPECT_TRUE(uuid.isNil());
}

}  // namespace
