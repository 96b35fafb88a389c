// SPDX-License-Identifier: MIT
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include <gtest/gtest.h>

#include "dump.h"
#include "helpers/expect_throw.h"
#include "vorn/common/lwjson/Deserializer.h"

namespace {

using vorn::common::lwjson::Deserializer;
using String = Deserializer::String;

static_assert(std::is_nothrow_move_constructible_v<Deserializer>);
static_assert(std::is_nothrow_move_assignable_v<Deserializer>);
static_assert(!std::is_convertible_v<Deserializer::Options, Deserializer>);
static_assert(Deserializer::kMaxNestingDepth == 100);
static_assert(Deserializer::None == 0 && Deserializer::AllowSingleQuotedKeys == 2 &&
              Deserializer::AllowEmptyValues == 4);
static_assert(static_cast<int>(Deserializer::MemberType::Array) == 3 &&
              static_cast<int>(Deserializer::MemberType::Object) == 2 &&
              static_cast<int>(Deserializer::MemberType::Value) == 1 &&
              static_cast<int>(Deserializer::MemberType::Undefined) == 0);
static_assert(static_cast<int>(Deserializer::ValueType::None) == 0 &&
              static_cast<int>(Deserializer::ValueType::String) == 1 &&
              static_cast<int>(Deserializer::ValueType::Boolean) == 2 &&
              static_cast<int>(Deserializer::ValueType::Integer) == 3 &&
              static_cast<int>(Deserializer::ValueType::Float) == 4);

std::string nested(unsigned levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

TEST(DeserializerString, EqualsItselfAndEveryOtherEmptyOne) {
    const std::string text = "text";
    const String span(text.data(), text.size());
    EXPECT_TRUE(span == String(text.data(), text.size()));
    EXPECT_TRUE(String(text.data(), std::size_t{0}) == String(text.data() + 1, std::size_t{0}));
}

TEST(DeserializerString, SpansCharacters) {
    const char* text = "abcabc";
    EXPECT_EQ(String().data, nullptr);
    EXPECT_EQ(String().size, 0U);
    const String left(text, 3);
    const String right(text + 3, text + 6);
    EXPECT_EQ(right.size, 3U);
    EXPECT_TRUE(left == right);
    EXPECT_TRUE(left == "abc");
    EXPECT_FALSE(left == "abcd");
    EXPECT_FALSE(left == "ab");
    EXPECT_FALSE(left == "abd");
    EXPECT_FALSE(left == String(text, 2U));
    EXPECT_FALSE(left == String(text + 1, 3U));
    EXPECT_FALSE(String("a", 1) == String("b", 1));
    EXPECT_TRUE(String() == String(text, 0));
    EXPECT_TRUE(String() == "");
    String assigned;
    assigned.assign(text + 1, 2U);
    EXPECT_TRUE(assigned == "bc");
    assigned.assign(text, text + 1);
    EXPECT_TRUE(assigned == "a");
    const char embedded[] = "a\0b";
    EXPECT_FALSE(String(embedded, 3) == "a");
    EXPECT_TRUE(String(embedded, 3) == String("a\0b", 3));
}

TEST(Deserializer, AnEmptyReaderIsUndefined) {
    for (const Deserializer& reader : {Deserializer(), Deserializer(Deserializer::None)}) {
        EXPECT_EQ(reader.type(), Deserializer::MemberType::Undefined);
        EXPECT_FALSE(reader.isNull());
        EXPECT_EQ(reader.name(), "");
        EXPECT_EQ(reader.value.size, 0U);
        EXPECT_TRUE(reader.members().empty());
        EXPECT_EQ(reader.getValueType(), Deserializer::ValueType::None);
    }
}

TEST(Deserializer, NodesAreSpansOfTheText) {
    const std::string text = R"( { "a" : 1 , "list" : [ "x\"y" , { } ] } )";
    const Deserializer root{std::string_view(text)};
    const auto offset = [&](const String& span) { return span.data - text.data(); };
    EXPECT_EQ(root.type(), Deserializer::MemberType::Object);
    EXPECT_EQ(root.value.view(), text.substr(1, text.size() - 2));
    EXPECT_EQ(root.text().view(), text);
    const Deserializer& a = root["a"];
    EXPECT_EQ(offset(a.key()), 4);
    EXPECT_EQ(offset(a.value), 9);
    EXPECT_EQ(a.text().view(), std::string_view(text).substr(8));
    const Deserializer& list = root["list"];
    EXPECT_EQ(list.value.view(), R"([ "x\"y" , { } ])");
    EXPECT_EQ(list[0].value.view(), R"("x\"y")");
    EXPECT_EQ(list[0].value.size, 6U);
    EXPECT_EQ(list[0].name(), "");
    EXPECT_EQ(list[1].value.view(), "{ }");
    EXPECT_EQ(list[1].type(), Deserializer::MemberType::Object);
}

TEST(Deserializer, OptionsAreHandedDown) {
    constexpr auto kBoth = Deserializer::AllowSingleQuotedKeys | Deserializer::AllowEmptyValues;
    static_assert((kBoth & Deserializer::AllowEmptyValues) == Deserializer::AllowEmptyValues);
    const Deserializer root("[{'a':[{'b':,'c':1}]}]", kBoth);
    EXPECT_EQ(dump(root), "[{a=[{b=?;c=1}]}]");
    EXPECT_EQ(root[0]["a"][0]["b"].options(), kBoth);
    EXPECT_EQ(root.options(), kBoth);
}

TEST(Deserializer, AHundredLevelsAreTheLimit) {
    const std::string tooDeep = "runtime: Maximum nested objects limit reached";
    EXPECT_EQ(parsed(nested(100)), nested(100));
    EXPECT_EQ(parsed(nested(101)), tooDeep);
    EXPECT_EQ(parsed("[[],1," + nested(99) + "]"), "[[];1;" + nested(99) + "]");
    EXPECT_EQ(parsed("[[],1," + nested(100) + "]"), tooDeep);
    std::string objects;
    for (int i = 0; i < 100; ++i) {
        objects += R"({"a":)";
    }
    EXPECT_EQ(parsed(objects + "1" + std::string(100, '}')).substr(0, 6), "{a={a=");
    EXPECT_EQ(parsed(objects + "{}" + std::string(100, '}')), tooDeep);
    EXPECT_EQ(parsed(std::string(100000, '[')), tooDeep);
}

TEST(Deserializer, AGreaterDepthThanTheLimitIsTheLimit) {
    const std::string deep = nested(200000);
    const char* end = deep.data() + deep.size();
    const std::string text = "Maximum nested objects limit reached";
    const String name;
    EXPECT_THROW_TEXT(Deserializer(deep.data(), end, 4000000000U, name, Deserializer::None),
                      std::runtime_error, text);
    Deserializer reader;
    EXPECT_THROW_TEXT(reader.parseJson(deep.data(), end, 4000000000U), std::runtime_error, text);
    EXPECT_THROW_TEXT(reader.extractMembers(deep.data() + 1, end, ']', false, 4000000000U),
                      std::runtime_error, text);
}

TEST(Deserializer, TheMemberConstructorParsesOneValue) {
    const std::string text = R"( [1,{"a":2}] x)";
    const std::string name = "part";
    const char* end = text.data() + text.size();
    const String nameSpan(name.data(), name.size());
    const Deserializer member(text.data(), end, 2, nameSpan, Deserializer::None);
    EXPECT_EQ(dump(member), "[1;{a=2}]");
    EXPECT_EQ(member.name(), "part");
    EXPECT_EQ(Deserializer(text.data(), end, 2, nameSpan).options(), Deserializer::None);
    EXPECT_EQ(member.text().view(), text);
    EXPECT_THROW_TEXT(Deserializer(text.data(), end, 1, nameSpan, Deserializer::None),
                      std::runtime_error, "Maximum nested objects limit reached");
    EXPECT_NO_THROW(
        Deserializer(text.data() + 2, text.data() + 3, 0, nameSpan, Deserializer::None));
}

TEST(Deserializer, ThePartsOfParsingReturnWhereTheyStopped) {
    const std::string text = R"({ "a" : 1 , "b" : [ 2 ] }  , rest)";
    const char* begin = text.data();
    const char* end = begin + text.size();
    Deserializer whole;
    EXPECT_EQ(whole.parseJson(begin, end, 100) - begin, 27);
    EXPECT_EQ(dump(whole), "{a=1;b=[2]}");
    Deserializer inside;
    EXPECT_EQ(inside.extractMembers(begin + 1, end, '}', true, 2) - begin, 25);
    EXPECT_EQ(inside.type(), Deserializer::MemberType::Undefined);
    ASSERT_EQ(inside.members().size(), 2U);
    EXPECT_EQ(inside.members()[1].name(), "b");
    EXPECT_THROW_TEXT(Deserializer().extractMembers(begin + 1, end, '}', true, 0),
                      std::runtime_error, "Maximum nested objects limit reached");
    String key;
    EXPECT_EQ(whole.parseKey(key, begin + 1, end) - begin, 7);
    EXPECT_TRUE(key == "a");
    const std::string junk = "1 x";
    EXPECT_THROW_TEXT(Deserializer().parseJson(junk.data(), junk.data() + junk.size(), 1),
                      std::runtime_error, "Unexpected character 'x' found after value '1'");
}

TEST(Deserializer, LookUpsByKey) {
    const Deserializer root(R"({"a":1,"b\"c":2,"a":3,"ab":4,"name":{"x":[]}})");
    EXPECT_EQ(root.findMember("a")->value.view(), "1");
    EXPECT_EQ(root.findMember("ab")->value.view(), "4");
    EXPECT_EQ(root.findMember("b\\\"c")->value.view(), "2");
    EXPECT_EQ(root.findMember("b\"c"), nullptr);
    EXPECT_EQ(root.findMember(""), nullptr);
    EXPECT_EQ(root.findMember("abc"), nullptr);
    EXPECT_EQ(&root.getMember("a"), &root.members()[0]);
    EXPECT_EQ(&root["name"]["x"], root["name"].findMember("x"));
    EXPECT_TRUE(root["ab"] == "ab");
    EXPECT_FALSE(root["ab"] == "a");
    EXPECT_FALSE(root["ab"] == "abc");
    EXPECT_TRUE(root == "");
    EXPECT_EQ(root.members().size(), 5U);
    EXPECT_THROW_TEXT(root.getMember("x"), std::out_of_range,
                      "lwjson::deserializer \"x\" value not found in object \"\"");
    EXPECT_THROW_TEXT(root["name"]["y"], std::out_of_range,
                      "lwjson::deserializer \"y\" value not found in object \"name\"");
    EXPECT_THROW_TEXT(root["a"]["y"], std::invalid_argument,
                      "lwjson::deserializer operator[member] called on non-object type \"a\"");
    EXPECT_THROW_TEXT(root["name"]["x"]["y"], std::invalid_argument,
                      "lwjson::deserializer operator[member] called on non-object type \"x\"");
    EXPECT_THROW_TEXT(Deserializer("[1]")["y"], std::invalid_argument,
                      "lwjson::deserializer operator[member] called on non-object type \"\"");
}

TEST(Deserializer, FindMemberLooksIntoNodesOfAnyType) {
    const Deserializer array("[1,2]");
    EXPECT_EQ(array.findMember(""), &array.members()[0]);
    EXPECT_EQ(array.findMember("a"), nullptr);
    EXPECT_EQ(Deserializer("1").findMember("a"), nullptr);
    EXPECT_THROW_TEXT(Deserializer("1").getMember("a"), std::out_of_range,
                      "lwjson::deserializer \"a\" value not found in object \"\"");
}

TEST(Deserializer, AKeyViewIsReadToItsNul) {
    const Deserializer root(R"({"key":1,"keyhole":2})");
    const std::string_view whole = "keyhole";
    EXPECT_EQ(root[whole.substr(0, 3)].value.view(), "2");
    EXPECT_EQ(root[std::string("key")].value.view(), "1");
    EXPECT_EQ(root[std::string_view("key\0hole", 8)].value.view(), "1");
    EXPECT_THROW_TEXT(root[std::string_view()], std::out_of_range,
                      "lwjson::deserializer \"\" value not found in object \"\"");
}

TEST(Deserializer, StructureBehindTheRootIsIgnored) {
    for (const char behind : std::string_view(",[]{}:")) {
        EXPECT_EQ(parsed(std::string("[1] ") + behind + " x"), "[1]");
    }
}

TEST(Deserializer, RawControlCharactersAreAccepted) {
    for (char character = 1; character < 32; ++character) {
        const std::string text = std::string("a") + character + "b";
        const Deserializer root("{\"" + text + "\":\"" + text + "\"}");
        EXPECT_EQ(root[text].as<std::string>(), text);
    }
}

TEST(Deserializer, KeysStayAsWritten) {
    const Deserializer root(R"({"a\/b":1})");
    EXPECT_EQ(root.members()[0].name(), R"(a\/b)");
    EXPECT_EQ(root.findMember("a/b"), nullptr);
    EXPECT_NE(root.findMember(R"(a\/b)"), nullptr);
}

TEST(Deserializer, LookUpsByIndex) {
    const Deserializer root(R"({"list":[10,[20]],"object":{"a":1}})");
    EXPECT_EQ(root["list"][0].value.view(), "10");
    EXPECT_EQ(root["list"][1][0].value.view(), "20");
    EXPECT_THROW_TEXT(
        root["list"][2], std::out_of_range,
        "lwjson::deserializer operator[index] called with index out of range \"list\"");
    EXPECT_THROW_TEXT(
        root["list"][4294967295U], std::out_of_range,
        "lwjson::deserializer operator[index] called with index out of range \"list\"");
    EXPECT_THROW_TEXT(Deserializer("[]")[0], std::out_of_range,
                      "lwjson::deserializer operator[index] called with index out of range \"\"");
    EXPECT_THROW_TEXT(root["object"][0], std::invalid_argument,
                      "lwjson::deserializer operator[index] called on non-array type \"object\"");
    EXPECT_THROW_TEXT(Deserializer("1")[0], std::invalid_argument,
                      "lwjson::deserializer operator[index] called on non-array type \"\"");
}

TEST(Deserializer, ValueTypes) {
    using Type = Deserializer::ValueType;
    const struct {
        const char* text;
        Type type;
    } rows[] = {
        {"\"\"", Type::String},
        {"\"1\"", Type::String},
        {"\"true\"", Type::String},
        {"true", Type::Boolean},
        {"false", Type::Boolean},
        {"trueish", Type::Boolean},
        {"false1", Type::Boolean},
        {"tru", Type::None},
        {"True", Type::None},
        {"0", Type::Integer},
        {"-1", Type::Integer},
        {"+1", Type::Integer},
        {"007", Type::Integer},
        {"-0", Type::Integer},
        {"\v12", Type::Integer},
        {"99999999999999999999999", Type::Integer},
        {"-99999999999999999999999", Type::Integer},
        {"1-", Type::None},
        {"-", Type::None},
        {"+", Type::None},
        {"--1", Type::None},
        {"1.5", Type::Float},
        {"-1.5", Type::Float},
        {"1.", Type::Float},
        {".5", Type::Float},
        {"1e5", Type::Float},
        {"1E-5", Type::Float},
        {"1e999", Type::Float},
        {"1e-999", Type::Float},
        {"nan", Type::Float},
        {"NAN", Type::Float},
        {"inf", Type::Float},
        {"-inf", Type::Float},
        {"infinity", Type::Float},
        {"nan(1)", Type::Float},
        {"0x10", Type::Float},
        {"0x1.8p3", Type::Float},
        {"0x", Type::None},
        {"1e", Type::None},
        {"1.2.3", Type::None},
        {"1,5", Type::Integer},
        {"1_0", Type::None},
        {"hello", Type::None},
        {"null", Type::None},
        {"[1]", Type::None},
        {"{}", Type::None},
        {"'x'", Type::None},
        {"infinit", Type::None},
        {"1f", Type::None},
        {"\f1.5", Type::Float},
        {"1\v", Type::None},
        {"\v\f", Type::None},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Deserializer(row.text).getValueType(), row.type) << row.text;
    }
    // Around the size of the copy that the conversion reads.
    for (std::size_t size = 60; size <= 70; ++size) {
        const std::string number = std::string(size - 2, '7') + ".5";
        EXPECT_EQ(Deserializer(std::string_view(number)).getValueType(), Type::Float) << size;
    }
    const std::string digits(100000, '7');
    EXPECT_EQ(Deserializer(std::string_view(digits)).getValueType(), Type::Integer);
    EXPECT_EQ(Deserializer(std::string_view(digits + ".5")).getValueType(), Type::Float);
    EXPECT_EQ(Deserializer(std::string_view(digits + ".5x")).getValueType(), Type::None);
}

TEST(Deserializer, ClassifyingLeavesErrnoAlone) {
    errno = 77;
    static_cast<void>(Deserializer("1e999").getValueType());
    EXPECT_EQ(errno, 77);
}

TEST(Deserializer, WordsThatOnlyBeginLikeNullAreTheCallersAffair) {
    EXPECT_EQ(parsed("nothing"), "nothing");
    EXPECT_EQ(parsed("[nothing]"), "[nothing]");
    EXPECT_EQ(parsed("[nul,nulls1]").substr(0, 8), "runtime:");
}

TEST(Deserializer, ATextOfFourGibibytesIsRefused) {
    if constexpr (sizeof(std::size_t) > 4) {
        const std::string_view huge("1", static_cast<std::size_t>(std::uint64_t{1} << 32));
        EXPECT_THROW(static_cast<void>(Deserializer(huge)), std::length_error);
        const auto end = reinterpret_cast<std::uintptr_t>(huge.data()) + huge.size();
        EXPECT_THROW(Deserializer().extractMembers(huge.data(), reinterpret_cast<const char*>(end),
                                                   ']', false, 1),
                     std::length_error);
    } else {
        GTEST_SKIP() << "no text is that long on 32 bits";
    }
}

}  // namespace
