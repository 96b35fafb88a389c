// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/lwjson/Deserializer.h>

#include "json/referenceComparison.h"
#include "lwjson/characters.h"

namespace {

using vorn::common::internal::spread;
using vorn::common::lwjson::Deserializer;

struct Member {
    std::string name;
    int value;
};

std::string objectOf(const std::vector<Member>& members) {
    std::string text = "{";
    for (const auto& [name, value] : members) {
        text += (text.size() == 1 ? "\"" : ",\"") + name + "\":" + std::to_string(value);
    }
    return text + "}";
}

void expectReportOfReference(const std::vector<Member>& expected,
                             const std::vector<Member>& found) {
    const Deserializer left(objectOf(expected));
    const Deserializer right(objectOf(found));
    ReferenceComparison reference;
    reference.compare(left, right);
    std::ostringstream report;
    EXPECT_EQ(left.compare(right, report), reference.report.empty());
    EXPECT_EQ(report.str(), reference.report);
}

/// Whether a text can stand between quotes as it is.
bool isPlain(const std::string& text) {
    return text.find_first_of(std::string_view("\"\\\0", 3)) == std::string::npos;
}

/// Names of two words, the second of which takes back what the first has mixed in.
std::vector<std::string> namesThatCollide(std::size_t count) {
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15ULL;
    constexpr std::uint64_t kSize = 16;
    std::mt19937_64 random(5);
    std::vector<std::string> names;
    while (names.size() < count) {
        std::uint64_t words[2] = {random(), 0};
        const std::uint64_t mixed = (kSize ^ words[0]) * kFactor;
        words[1] = (mixed ^ mixed >> 32) ^ 0x1234567812345678ULL;
        std::string name(kSize, '\0');
        std::memcpy(name.data(), words, kSize);
        if (isPlain(name)) {
            names.push_back(name);
        }
    }
    return names;
}

TEST(CollidingNames, OfOneKindAreComparedAsOthers) {
    const auto names = namesThatCollide(300);
    std::vector<Member> members;
    for (const auto& name : names) {
        ASSERT_EQ(spread(name.data(), name.size()), spread(names[0].data(), names[0].size()));
        members.push_back({name, 1});
    }
    expectReportOfReference(members, members);
    auto changed = members;
    changed[150].value = 2;
    expectReportOfReference(members, changed);
    // Compared with the first of its name, and so not equal to itself.
    members.push_back({names[0], 2});
    expectReportOfReference(members, members);
}

/// Two names that are told apart by themselves only.
std::pair<std::string, std::string> namesOfOneHash() {
    std::unordered_map<std::uint32_t, std::string> known;
    for (unsigned number = 0;; ++number) {
        const auto name = "name" + std::to_string(number);
        const auto hash = static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
        const auto [entry, isNew] = known.emplace(hash, name);
        if (!isNew) {
            return {entry->second, name};
        }
    }
}

TEST(CollidingNames, OfOneHashAreComparedAsOthers) {
    const auto [first, second] = namesOfOneHash();
    std::vector<Member> others;
    for (int number = 0; number < 20; ++number) {
        others.push_back({"other" + std::to_string(number), number});
    }
    const auto with = [&](const std::vector<Member>& members) {
        auto all = others;
        all.insert(all.end(), members.begin(), members.end());
        return all;
    };
    const std::vector<std::vector<Member>> rows{{{first, 1}, {second, 2}},
                                                {{second, 2}, {first, 1}},
                                                {{second, 1}, {first, 2}},
                                                {{first, 1}},
                                                {{second, 1}},
                                                {}};
    for (const auto& expected : rows) {
        for (const auto& found : rows) {
            expectReportOfReference(with(expected), with(found));
        }
    }
}

}  // namespace
