// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Serializer.h"

#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

/// The copy made with one serializer for every container and every element.
void addByNesting(Serializer& target, const Deserializer& node) {
    switch (node.type()) {
        case Deserializer::MemberType::Undefined:
            return;
        case Deserializer::MemberType::Value:
            target.appendValue(std::string(node.value.view()).c_str());
            return;
        case Deserializer::MemberType::Array: {
            std::vector<Serializer> elements;
            for (const Deserializer& member : node.members()) {
                Serializer element(Serializer::Pretty);
                addByNesting(element, member);
                element.finalize();
                elements.push_back(element);
            }
            target.addValue(elements);
            return;
        }
        case Deserializer::MemberType::Object: {
            Serializer object(Serializer::Pretty);
            for (const Deserializer& member : node.members()) {
                object.appendKey(member.name().c_str());
                addByNesting(object, member);
            }
            object.finalize();
            target.addValue(object);
            return;
        }
    }
}

std::string copied(const char* text, Serializer::Format format, const char* key = nullptr) {
    const Deserializer node(text, Deserializer::AllowEmptyValues);
    Serializer json(format);
    if (key != nullptr) {
        json.appendKey(key);
    }
    json.addValue(node);
    json.finalize();
    return json.json();
}

TEST(SerializerTreeCopy, CopiesTrees) {
    const struct {
        const char* text;
        const char* pretty;
        const char* compact;
    } rows[] = {
        {"null", "{\n  \"k\": null\n}", "{\"k\":null}"},
        {" 1.50 ", "{\n  \"k\": 1.50\n}", "{\"k\":1.50}"},
        {R"("a\u0041\/")", "{\n  \"k\": \"a\\u0041\\/\"\n}", R"({"k":"a\u0041\/"})"},
        {"hello", "{\n  \"k\": hello\n}", "{\"k\":hello}"},
        {"[1, 2]", "{\n  \"k\":\n  [\n    1,\n    2\n  ]\n}", "{\"k\":[1,2]}"},
        {R"({"a":1})", "{\n  \"k\":\n  {\n    \"a\": 1\n  }\n}", "{\"k\":{\n  \"a\": 1\n}}"},
        {R"([{"a":[]}])", "{\n  \"k\":\n  [\n    {\n      \"a\":\n      [\n      ]\n    }\n  ]\n}",
         "{\"k\":[{\n  \"a\":\n  [\n  ]\n}]}"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(copied(row.text, Serializer::Pretty, "k"), row.pretty);
        EXPECT_EQ(copied(row.text, Serializer::Compact, "k"), row.compact);
    }
    EXPECT_EQ(copied(R"({"b":1,"a":[true]})", Serializer::Pretty),
              "{\n  \"b\": 1,\n  \"a\":\n  [\n    true\n  ]\n}");
}

TEST(SerializerTreeCopy, AnObjectWithoutMembersBecomesNull) {
    EXPECT_EQ(copied("{}", Serializer::Compact), "null");
    EXPECT_EQ(copied("{}", Serializer::Pretty, "k"), "{\n  \"k\": null\n}");
    EXPECT_EQ(copied("[{}]", Serializer::Compact), "[null]");
    EXPECT_EQ(copied("[]", Serializer::Compact), "[]");
    EXPECT_EQ(copied("[]", Serializer::Pretty), "[\n]");
}

TEST(SerializerTreeCopy, AnUndefinedNodeWritesNothing) {
    EXPECT_EQ(copied("", Serializer::Compact), "null");
    EXPECT_EQ(copied("", Serializer::Compact, "k"), "{\"k\":}");
    EXPECT_EQ(copied("[1,,2]", Serializer::Compact), "[1,null,2]");
    EXPECT_EQ(copied(R"({"a":,"b":1})", Serializer::Pretty), "{\n  \"a\": \n  \"b\": 1\n}");
}

TEST(SerializerTreeCopy, RawLineFeedsGainTheIndentation) {
    EXPECT_EQ(copied("\"x\ny\"", Serializer::Pretty, "k"), "{\n  \"k\": \"x\ny\"\n}");
    EXPECT_EQ(copied("[\"x\ny\"]", Serializer::Pretty, "k"),
              "{\n  \"k\":\n  [\n    \"x\n    y\"\n  ]\n}");
    EXPECT_EQ(copied("[\"x\ny\"]", Serializer::Compact), "[\"x\ny\"]");
    EXPECT_EQ(copied("{\"a\nb\":[\"x\ny\"]}", Serializer::Pretty),
              "{\n  \"a\nb\":\n  [\n    \"x\n    y\"\n  ]\n}");
}

TEST(SerializerTreeCopy, RawLineFeedsBelowAHundredLevelsGainTheIndentationOfAll) {
    // Two spaces for each level and two for the object around them: more than one serializer
    // writes.
    const std::string text = std::string(100, '[') + "\"x\ny\"" + std::string(100, ']');
    const Deserializer tree{std::string_view(text)};
    Serializer expected(Serializer::Pretty);
    Serializer found(Serializer::Pretty);
    expected.appendKey("k");
    found.appendKey("k");
    addByNesting(expected, tree);
    found.addValue(tree);
    EXPECT_EQ(found.json(), expected.json());
    EXPECT_NE(found.json().find("x\n" + std::string(202, ' ') + "y"), std::string::npos);
}

/// Random trees, added at every place that a serializer has.
TEST(SerializerTreeCopy, EqualsACopyByNestedSerializers) {
    std::mt19937 random(5);
    const auto pick = [&](unsigned count) { return random() % count; };
    const char* scalars[] = {"1", "null", "\"a\"", "\"l1\nl2\n\"", "\"\"", "x", "\" \""};
    const std::function<std::string(unsigned)> make = [&](unsigned depth) -> std::string {
        const unsigned kind = depth == 0 ? 0 : pick(4);
        if (kind < 2) {
            return scalars[pick(7)];
        }
        std::string text(1, kind == 2 ? '[' : '{');
        const unsigned count = pick(4);
        for (unsigned i = 0; i < count; ++i) {
            text += i == 0 ? "" : ",";
            text += kind == 3 ? (pick(5) == 0 ? "\"k\n\":" : "\"k\":") : "";
            text += i + 1 != count && pick(8) == 0 ? "" : make(depth - 1);
        }
        return text + (kind == 2 ? ']' : '}');
    };
    const auto expectSame = [](const Deserializer& node, auto prepare, Serializer::Format format) {
        Serializer expected(format);
        Serializer found(format);
        prepare(expected);
        prepare(found);
        addByNesting(expected, node);
        found.addValue(node);
        ASSERT_EQ(found.json(), expected.json());
        found.addNull("after");
        expected.addNull("after");
        found.finalize();
        expected.finalize();
        ASSERT_EQ(found.json(), expected.json());
        Serializer outerFound(format);
        Serializer outerExpected(format);
        outerFound.appendKey("outer");
        outerExpected.appendKey("outer");
        outerFound.addValue(found);
        outerExpected.addValue(expected);
        ASSERT_EQ(outerFound.json(), outerExpected.json());
    };
    for (int round = 0; round < 1000; ++round) {
        const Deserializer node(make(4), Deserializer::AllowEmptyValues);
        for (const auto format : {Serializer::Pretty, Serializer::Compact}) {
            expectSame(
                node, [](Serializer&) {}, format);
            expectSame(
                node, [](Serializer& json) { json.appendKey("k"); }, format);
            expectSame(
                node, [](Serializer& json) { json.addValue(1); }, format);
            expectSame(
                node,
                [](Serializer& json) {
                    json.mutableJson() = "{\"a\": ";
                    json.init(0, Serializer::Pretty);
                },
                format);
        }
    }
}

TEST(SerializerTreeCopy, AHundredLevelsAreCopied) {
    std::string text;
    for (int level = 0; level < 50; ++level) {
        text += R"([{"a":)";
    }
    text += "1";
    for (int level = 0; level < 50; ++level) {
        text += "}]";
    }
    const Deserializer tree{std::string_view(text)};
    // The innermost line of the Pretty one begins with more spaces than one serializer writes.
    for (const auto format : {Serializer::Compact, Serializer::Pretty}) {
        Serializer expected(format);
        Serializer found(format);
        expected.appendKey("k");
        found.appendKey("k");
        addByNesting(expected, tree);
        found.addValue(tree);
        EXPECT_EQ(found.json(), expected.json());
    }
}

}  // namespace
