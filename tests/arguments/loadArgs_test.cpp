// SPDX-License-Identifier: MIT
#include <map>

#include <gtest/gtest.h>

#include <vorn/common/TypedArgs.h>

#include "helpers/faults/allocation.h"

namespace {

using vorn::common::Args;
using vorn::common::GetTypedArgHelper;
using vorn::common::loadArgs;
using vorn::common::lwjson::Deserializer;

/// "key=value|key=value", sorted by key.
std::string summary(const Args& args) {
    std::string text;
    for (const auto& [key, value] : std::map(args.begin(), args.end())) {
        text += (text.empty() ? "" : "|") + key + "=" + value;
    }
    return text;
}

struct Row {
    std::string json;
    const char* expected;
};

TEST(LoadArgs, FlattensADocument) {
    const Row rows[] = {
        {R"({})", ""},
        {R"([])", ""},
        {R"(12)", ""},
        {R"("text")", ""},
        {R"({"a":1})", "a=1"},
        {R"({"net":{"port":8080,"host":"a"}})", R"(net_host="a"|net_port=8080)"},
        {R"({"a":{"b":{"c":true}}})", "a_b_c=true"},
        {R"({"a":{"b":{"c":{"d":-1.5e3}}},"b":null})", "a_b_c_d=-1.5e3|b=null"},
        {R"({"s":"x \"y\" \n","t":word})", R"(s="x \"y\" \n"|t=word)"},
        {R"({"s":  "padded"  , "n" : 7 })", R"(n=7|s="padded")"},
        {R"({"e":{},"f":[],"g":{"h":{}}})", ""},
        {R"({"l":[1,2,3]})", "l_=1"},
        {R"([1,2])", "=1"},
        {R"([{"a":1},{"a":2,"b":3}])", "_a=1|_b=3"},
        {R"({"l":[{"x":1},{"x":2,"y":3}]})", "l__x=1|l__y=3"},
        {R"({"l":[[1],[2]]})", "l__=1"},
        {R"({"a":1,"a":2})", "a=1"},
        {R"({"a_b":1,"a":{"b":2}})", "a_b=1"},
        {R"({"a":{"b":2},"a_b":1})", "a_b=2"},
        {R"({"a\"b":1,"c d":2})", R"(a\"b=1|c d=2)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.json);
        EXPECT_EQ(summary(loadArgs(Deserializer(row.json))), row.expected);
    }
}

TEST(LoadArgs, LeavesOutMembersWithoutAValue) {
    EXPECT_EQ(summary(loadArgs(Deserializer(R"({"a":,"b":1})", Deserializer::AllowEmptyValues))),
              "b=1");
}

TEST(LoadArgs, AddsBehindAPrefixAndKeepsWhatIsThere) {
    Args args{{"x_a", "kept"}, {"other", "1"}};
    loadArgs(args, "x_", Deserializer(R"({"a":2,"b":{"c":3}})"));
    EXPECT_EQ(summary(args), "other=1|x_a=kept|x_b_c=3");
    loadArgs(args, "", Deserializer(R"({"other":2})"));
    EXPECT_EQ(args.at("other"), "1");
}

TEST(LoadArgs, ReadsToTheDeepestLevel) {
    std::string json;
    std::string key;
    for (int level = 0; level < 100; ++level) {
        json += R"({"k":)";
        key += level == 0 ? "k" : "_k";
    }
    json += "1" + std::string(100, '}');
    EXPECT_EQ(summary(loadArgs(Deserializer(json))), key + "=1");
}

/// How many allocations it takes to flatten a thousand equal members below a long name.
std::size_t allocationsBelowALongName(const std::string& member) {
    std::string json = "{\"" + std::string(1000, 'k') + "\":[" + member;
    for (int i = 1; i < 1000; ++i) {
        json += "," + member;
    }
    const Deserializer root(json + "]}");
    const std::size_t before = faults::allocations();
    EXPECT_LE(loadArgs(root).size(), 1U);
    return faults::allocations() - before;
}

TEST(LoadArgs, ANameIsMadeForAnEntryOnly) {
    // One buffer for the names, which grows twice at most, and one entry: node, key and buckets.
    for (const char* member :
         {"{}", "[]", "1", "\"text\"", "[1]", "[[],{}]", R"({"a":{}})", R"({"a":1})"}) {
        EXPECT_LE(allocationsBelowALongName(member), 3U + 3U) << member;
    }
}

TEST(LoadArgs, UnnamedMembersAreTriedOnceWhateverComesBetween) {
    Deserializer root(R"([1,{"a":2},3])");
    root.importJson(R"({"b":4,"c":{"d":5}})");
    root.importJson(R"([6])");
    EXPECT_EQ(summary(loadArgs(root)), "=1|_a=2|b=4|c_d=5");
    Args args{{"x", "kept"}};
    loadArgs(args, "x", root);
    EXPECT_EQ(summary(args), "x=kept|x_a=2|xb=4|xc_d=5");
}

TEST(LoadArgs, GivesTextsForTypedArguments) {
    const auto args =
        loadArgs(Deserializer(R"({"net":{"port":8080,"host":"a","on":true,"gain":-0.5}})"));
    EXPECT_EQ(GetTypedArgHelper<unsigned short>::get(args.at("net_port")), 8080);
    EXPECT_EQ(GetTypedArgHelper<std::string>::get(args.at("net_host")), "a");
    EXPECT_TRUE(GetTypedArgHelper<bool>::get(args.at("net_on")));
    EXPECT_EQ(GetTypedArgHelper<double>::get(args.at("net_gain")), -0.5);
}

}  // namespace
