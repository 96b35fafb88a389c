// SPDX-License-Identifier: MIT
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "dump.h"
#include "helpers/environment.h"
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

const std::string kRecord = R"({"id":1,"tags":["a","b,]"],"empty":{},"at":{"x":[1,2.5],"y":null}})";

TEST(DeserializerAllocation, EachContainerWithMembersIsAllocatedOnce) {
    const std::string texts[] = {
        "1",
        "[]",
        R"({"a":{}})",
        "[1]",
        kRecord,
        "[" + repeated(kRecord, 3) + "]",
        "[" + repeated("1", 128) + "]",
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

/// Made at first use: every test of the program is a process of its own, and would make them.
const std::vector<std::string>& longTexts() {
    static const std::vector<std::string> texts = {
        "[" + repeated(kRecord, 1000) + "]",
        R"({"list":[)" + repeated("[" + repeated(kRecord, 100) + "]", 20) + R"(],"last":[1]})",
        "[" + repeated("1", 100000) + "]",
        "[" + repeated("[1]", 30000) + "]",
        "[" + repeated("[]", 30000) + "]",
        "{" + repeated(R"("k":1)", 30000) + "}",
        R"([[[[)" + repeated("[" + repeated("1", 10000) + "]", 3) + "]]]]",
    };
    return texts;
}

/// What waits for its container to be closed outgrows the stack in these; it is gone afterwards.
TEST(DeserializerAllocation, LongTextsNeedAFewAllocationsMore) {
    for (const std::string& text : longTexts()) {
        const std::size_t before = faults::allocations();
        const std::ptrdiff_t aliveBefore = faults::blocksAlive();
        const Deserializer root{std::string_view(text)};
        const std::size_t containers = containersWithMembers(root);
        EXPECT_LE(faults::allocations() - before, containers + 64) << text.substr(0, 80);
        EXPECT_EQ(static_cast<std::size_t>(faults::blocksAlive() - aliveBefore), containers)
            << text.substr(0, 80);
        EXPECT_EQ(spareCapacity(root), 0U) << text.substr(0, 80);
    }
}

double peakPerResult(const std::string& text) {
    const std::ptrdiff_t before = faults::bytesAlive();
    faults::restartMostBytesAlive();
    const Deserializer root{std::string_view(text)};
    return static_cast<double>(faults::mostBytesAlive() - before) /
           static_cast<double>(faults::bytesAlive() - before);
}

TEST(DeserializerAllocation, ReadingNeedsAtMostThreeTenthsMoreThanItsResult) {
    for (const std::string& text : longTexts()) {
        EXPECT_LE(peakPerResult(text), 1.3) << text.substr(0, 80);
    }
    // Just behind a growth of what waits, wherever that is, most room is unused.
    const std::size_t steps = helpers::kSlow ? 3 : 7;
    for (std::size_t count = 100; count < 20000; count += count / steps) {
        for (const char* element : {"1", "[]", "[1]"}) {
            EXPECT_LE(peakPerResult("[" + repeated(element, count) + "]"), 1.3)
                << count << " times " << element;
        }
    }
}

TEST(DeserializerAllocation, ImportingAgainAndAgainTakesLinearMemory) {
    constexpr std::size_t kImports = 8192;
    const auto bytesOf = [](auto import) {
        Deserializer reader;
        const std::size_t before = faults::allocatedBytes();
        for (std::size_t i = 0; i < kImports; ++i) {
            import(reader);
        }
        EXPECT_EQ(reader.members().size(), 2 * kImports);
        return faults::allocatedBytes() - before;
    };
    const std::size_t members = 2 * kImports * sizeof(Deserializer);
    const std::string text = "[1,2]";
    EXPECT_LE(bytesOf([&](Deserializer& reader) { reader.importJson(std::string_view(text)); }),
              4 * members);
    EXPECT_LE(bytesOf([&](Deserializer& reader) { reader.importJson(std::string(text)); }),
              4 * members + kImports * 128);
    EXPECT_LE(bytesOf([&](Deserializer& reader) {
                  reader.extractMembers(text.data() + 1, text.data() + text.size(), ']', false, 1);
              }),
              4 * members);
}

/// One level of stack for each text would overflow it.
TEST(DeserializerAllocation, AChainOfEarlierTextsIsGivenBackWithoutRecursion) {
    const std::ptrdiff_t before = faults::blocksAlive();
    constexpr unsigned kImports = 200000;
    {
        Deserializer reader;
        std::optional<Deserializer> middle;
        for (unsigned i = 0; i < kImports; ++i) {
            reader.importJson(std::string("[1]"));
            if (i == kImports / 2) {
                middle = reader;
            }
        }
        reader = Deserializer();
        EXPECT_EQ(middle->members().back().value.view(), "1");
        middle.reset();
        EXPECT_LE(faults::blocksAlive() - before, 4);
    }
    EXPECT_EQ(faults::blocksAlive(), before);
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
