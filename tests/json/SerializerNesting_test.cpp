// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Serializer.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/expect_throw.h"

namespace {

using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

constexpr auto kPretty = Serializer::Pretty;
constexpr auto kCompact = Serializer::Compact;

template <class Fill>
Serializer made(Serializer::Format format, Fill fill) {
    Serializer json(format);
    fill(json);
    json.finalize();
    return json;
}

template <class Value>
std::string underKey(Serializer::Format format, const Value& value) {
    return made(format,
                [&](Serializer& json) {
                    json.appendKey("a");
                    json.addValue(value);
                })
        .json();
}

Serializer object(Serializer::Format format) {
    return made(format, [](Serializer& json) {
        json.appendKey("b");
        json.addValue(1);
    });
}

Serializer plain(int value) {
    return made(kPretty, [&](Serializer& json) { json.addValue(value); });
}

TEST(SerializerNesting, AnObjectStandsOnItsOwnLine) {
    EXPECT_EQ(underKey(kPretty, object(kPretty)), "{\n  \"a\":\n  {\n    \"b\": 1\n  }\n}");
    EXPECT_EQ(underKey(kCompact, object(kCompact)), R"({"a":{"b":1}})");
    EXPECT_EQ(underKey(kCompact, object(kPretty)), "{\"a\":{\n  \"b\": 1\n}}");
    EXPECT_EQ(underKey(kPretty, object(kCompact)), "{\n  \"a\":\n  {\"b\":1}\n}");
    EXPECT_EQ(underKey(kPretty, plain(5)), "{\n  \"a\": 5\n}");
    EXPECT_EQ(underKey(kPretty, Serializer(R"({"b":1})", kPretty)), "{\n  \"a\":\n  {\"b\":1}\n}");
    Serializer continued(R"({"b":1)", kPretty);
    continued.finalize();
    EXPECT_EQ(underKey(kPretty, continued), "{\n  \"a\":\n  {\"b\":1\n  }\n}");
}

TEST(SerializerNesting, AnObjectAsTheFirstValueStaysWhereItIs) {
    const Serializer whole =
        made(kPretty, [](Serializer& json) { json.addValue(object(kPretty)); });
    EXPECT_EQ(whole.json(), "{\n  \"b\": 1\n}");
    EXPECT_EQ(underKey(kPretty, whole), "{\n  \"a\": {\n    \"b\": 1\n  }\n}");
}

TEST(SerializerNesting, LinesAreSplitAtLineFeeds) {
    const auto added = [](std::string text) {
        Serializer other(std::move(text), kPretty);
        other.finalize();
        return underKey(kPretty, other);
    };
    EXPECT_EQ(added("[1]\n"), "{\n  \"a\": [1]\n}");
    EXPECT_EQ(added("[1]\n\n"), "{\n  \"a\": [1]\n  \n}");
    EXPECT_EQ(added("1\r\n2"), "{\n  \"a\": 1\r\n  2\n}");
    Serializer empty(kPretty);
    empty.finalize();
    empty.mutableJson().clear();
    EXPECT_EQ(underKey(kPretty, empty), "{\n  \"a\": \n}");
    EXPECT_EQ(underKey(kCompact, empty), "{\"a\":}");
}

TEST(SerializerNesting, Arrays) {
    const std::vector<Serializer> none;
    const std::vector<Serializer> numbers = {plain(1), plain(2)};
    const std::vector<Serializer> objects = {object(kPretty), object(kPretty)};
    EXPECT_EQ(underKey(kPretty, none), "{\n  \"a\":\n  [\n  ]\n}");
    EXPECT_EQ(underKey(kCompact, none), R"({"a":[]})");
    EXPECT_EQ(underKey(kPretty, numbers), "{\n  \"a\":\n  [\n    1,\n    2\n  ]\n}");
    EXPECT_EQ(underKey(kCompact, numbers), R"({"a":[1,2]})");
    EXPECT_EQ(
        underKey(kPretty, objects),
        "{\n  \"a\":\n  [\n    {\n      \"b\": 1\n    },\n    {\n      \"b\": 1\n    }\n  ]\n}");
    const auto alone = [](const auto& elements) {
        return made(kPretty, [&](Serializer& json) { json.addValue(elements); }).json();
    };
    EXPECT_EQ(alone(none), "[\n]");
    EXPECT_EQ(alone(numbers), "[\n  1,\n  2\n]");
    Serializer open(kCompact);
    open.addValue(none);
    EXPECT_EQ(open.json(), "[],");
    Serializer afterSpace(std::string("{\"a\": "), kCompact);
    afterSpace.addValue(numbers);
    afterSpace.finalize();
    EXPECT_EQ(afterSpace.json(), R"({"a":[1,2]})");
}

TEST(SerializerNesting, AnArrayStandsOnItsOwnLine) {
    const std::vector<int> numbers = {1};
    const Deserializer tree("[1]");
    const std::string expected = "{\n  \"a\":\n  [\n    1\n  ]\n}";
    EXPECT_EQ(underKey(kPretty, made(kPretty, [&](Serializer& json) { json.addValue(numbers); })),
              expected);
    EXPECT_EQ(underKey(kPretty, made(kPretty, [&](Serializer& json) { json.addValue(tree); })),
              expected);
}

TEST(SerializerNesting, WhatFollowsAnArrayStandsOnItsOwnLine) {
    const Serializer json = made(kPretty, [](Serializer& target) {
        target.appendKey("a");
        target.addValue(std::vector<std::vector<int>>{{1}});
        target.appendKey("o");
        target.addValue(object(kPretty));
        target.appendKey("t");
        target.addValue(Deserializer("[]"));
    });
    EXPECT_EQ(json.json(),
              "{\n  \"a\":\n  [\n    [\n      1\n    ]\n  ],\n  \"o\":\n  {\n    \"b\": 1\n  },\n"
              "  \"t\":\n  [\n  ]\n}");
}

TEST(SerializerNesting, ArraysOfOtherTypes) {
    EXPECT_EQ(underKey(kCompact, std::vector<int>{1, -2}), R"({"a":[1,-2]})");
    EXPECT_EQ(underKey(kCompact, std::vector<std::string>{"x\n", ""}), R"({"a":["x\n",""]})");
    EXPECT_EQ(underKey(kCompact, std::vector<bool>{true, false}), R"({"a":[true,false]})");
    EXPECT_EQ(underKey(kCompact, std::vector<std::vector<int>>{{1}, {}, {2, 3}}),
              R"({"a":[[1],[],[2,3]]})");
    EXPECT_EQ(underKey(kPretty, std::vector<std::vector<int>>{{1}, {}}),
              "{\n  \"a\":\n  [\n    [\n      1\n    ],\n    [\n    ]\n  ]\n}");
    const Deserializer tree(R"({"list":[{"x":1},[],2]})");
    EXPECT_EQ(underKey(kPretty, tree["list"].members()),
              "{\n  \"a\":\n  [\n    {\n      \"x\": 1\n    },\n    [\n    ],\n    2\n  ]\n}");
}

TEST(SerializerNesting, OnlyFinalizedSerializersAreAdded) {
    const std::string text =
        "lwjson::Serializer::addValue(const Serializer & object) - object is not finalized";
    for (const auto format : {kPretty, kCompact}) {
        Serializer json(format);
        json.appendKey("a");
        const std::string before = json.json();
        EXPECT_THROW_TEXT(json.addValue(Serializer()), std::invalid_argument, text);
        EXPECT_THROW_TEXT(json.addValue(std::vector<Serializer>{plain(1), Serializer()}),
                          std::invalid_argument, text);
        EXPECT_THROW_TEXT(
            json.addValue(std::vector<std::vector<Serializer>>{{plain(1)}, {Serializer()}}),
            std::invalid_argument, text);
        EXPECT_EQ(json.json(), before);
    }
}

/// Arrays in arrays, all written by the same serializer.
struct Nest : std::vector<Nest> {};

/// The 101st level is indented no further; each level closed takes two spaces back.
TEST(SerializerNesting, IndentationStopsAtTwoHundredSpaces) {
    constexpr int kLevels = 120;
    Nest nest;
    std::string expected;
    int indentation = 0;
    for (int level = 0; level < kLevels; ++level) {
        Nest outer;
        outer.push_back(nest);
        nest = outer;
        indentation = std::min(200, indentation + 2);
        expected += "[\n" + std::string(static_cast<std::size_t>(indentation), ' ');
    }
    expected += "[\n" + std::string(200, ' ') + "]";
    for (int level = 0; level < kLevels; ++level) {
        indentation = std::max(0, indentation - 2);
        expected += "\n" + std::string(static_cast<std::size_t>(indentation), ' ') + "]";
    }
    EXPECT_EQ(made(kPretty, [&](Serializer& json) { json.addValue(nest); }).json(), expected);
}

/// The limit is that of one serializer: the lines of nested ones are shifted as far as it takes.
TEST(SerializerNesting, NestedSerializersGoBeyondTheLimitOfOne) {
    Serializer inner = object(kPretty);
    for (int level = 0; level < 110; ++level) {
        Serializer outer(kPretty);
        outer.appendKey("a");
        outer.addValue(inner);
        outer.finalize();
        inner = outer;
    }
    EXPECT_NE(inner.json().find("\n" + std::string(222, ' ') + "\"b\": 1\n"), std::string::npos);
}

}  // namespace
