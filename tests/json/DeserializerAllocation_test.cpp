#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "dump.h"
#include "helpers/faults/allocation.h"

namespace {

using vorn::common::lwjson::Deserializer;

std::size_t containersWithMembers(const Deserializer& node) {
    std::size_t count = node.members().empty() ? 0 : 1;
    for (const Deserializer& member : node.members()) {
        count += containersWithMembers(member);
    }
    return count;
}

std::size_t spareCapacity(const Deserializer& node) {
    std::size_t spare = node.members().capacity() - node.members().size();
    for (const Deserializer& member : node.members()) {
        spare += spareCapacity(member);
    }
    return spare;
}

std::string repeated(const std::string& part, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += i == 0 ? "" : ",";
        text += part;
    }
    return text;
}

TEST(DeserializerAllocation, EachContainerWithMembersIsAllocatedOnce) {
    const std::string record =
        R"({"id":1,"tags":["a","b,]"],"empty":{},"at":{"x":[1,2.5],"y":null}})";
    const std::string texts[] = {
        "1",
        "[]",
        R"({"a":{}})",
        "[1]",
        record,
        "[" + repeated(record, 3) + "]",
        "[" + repeated(record, 1000) + "]",
        R"({"list":[)" + repeated("[" + repeated(record, 100) + "]", 20) + R"(],"last":[1]})",
        "[" + repeated("1", 100000) + "]",
        std::string(100, '[') + "1" + std::string(100, ']'),
    };
    for (const std::string& text : texts) {
        const std::size_t before = faults::allocations();
        const Deserializer root{std::string_view(text)};
        const std::size_t used = faults::allocations() - before;
        EXPECT_EQ(used, containersWithMembers(root)) << text.substr(0, 80);
        EXPECT_EQ(spareCapacity(root), 0U) << text.substr(0, 80);
    }
}

TEST(DeserializerAllocation, AnEmptyValueCountsAsAMember) {
    const std::string_view text = R"([1,,{"a":,"b":2},,3])";
    const std::size_t before = faults::allocations();
    const Deserializer root(text, Deserializer::AllowEmptyValues);
    EXPECT_EQ(faults::allocations() - before, 2U);
    EXPECT_EQ(dump(root), "[1;?;{a=?;b=2};?;3]");
    EXPECT_EQ(spareCapacity(root), 0U);
}

TEST(DeserializerAllocation, LookUpsAllocateNothing) {
    const Deserializer root(R"({"a":{"a long key that needs memory of its own":[1,2]}})");
    const std::size_t before = faults::allocations();
    const auto& found = root["a"]["a long key that needs memory of its own"][1];
    EXPECT_EQ(found.getValueType(), Deserializer::ValueType::Integer);
    EXPECT_EQ(root.findMember("b"), nullptr);
    EXPECT_EQ(faults::allocations() - before, 0U);
}

TEST(DeserializerAllocation, AnImportWithoutMembersDropsTheTextBefore) {
    Deserializer reader;
    const auto aliveAfter = [&](int imports) {
        for (int i = 0; i < imports; ++i) {
            reader.importJson(repeated("1", 100));
        }
        return faults::blocksAlive();
    };
    const std::ptrdiff_t few = aliveAfter(3);
    EXPECT_EQ(aliveAfter(100), few);
}

/// Every level holds more containers than are counted in one go, so that each one would be looked
/// through again from every level above it.
TEST(DeserializerAllocation, ManyWideLevelsAreReadRight) {
    std::string text;
    for (int level = 0; level < 99; ++level) {
        text += "[" + repeated("[1]", 300) + ",";
    }
    text += "1" + std::string(99, ']');
    const Deserializer root{std::string_view(text)};
    const Deserializer* node = &root;
    for (int level = 0; level < 99; ++level) {
        ASSERT_EQ(node->members().size(), 301U);
        EXPECT_EQ(dump((*node)[299]), "[1]");
        node = &(*node)[300];
    }
    EXPECT_EQ(dump(*node), "1");
}

}  // namespace
