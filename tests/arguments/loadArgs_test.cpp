#include <map>

#include <gtest/gtest.h>

#include <vorn/common/TypedArgs.h>

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

TEST(LoadArgs, GivesTextsForTypedArguments) {
    const auto args =
        loadArgs(Deserializer(R"({"net":{"port":8080,"host":"a","on":true,"gain":-0.5}})"));
    EXPECT_EQ(GetTypedArgHelper<unsigned short>::get(args.at("net_port")), 8080);
    EXPECT_EQ(GetTypedArgHelper<std::string>::get(args.at("net_host")), "a");
    EXPECT_TRUE(GetTypedArgHelper<bool>::get(args.at("net_on")));
    EXPECT_EQ(GetTypedArgHelper<double>::get(args.at("net_gain")), -0.5);
}

}  // namespace
