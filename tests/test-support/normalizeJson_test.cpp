// SPDX-License-Identifier: MIT
#include <stdexcept>

#include <gtest/gtest.h>

#include <vorn/common/test/helpers.h>

namespace {

using vorn::common::test::normalizeJson;

TEST(NormalizeJson, WritesTheIndentedLayout) {
    struct Row {
        const char* text;
        const char* normalized;
    };
    constexpr Row kRows[] = {
        {"5", "5"},
        {" \"x y\" ", "\"x y\""},
        {"null", "null"},
        {"true", "true"},
        {"{\"a\":1}", "{\n  \"a\": 1\n}"},
        {"{\"a\":1,\"b\":\"x\"}", "{\n  \"a\": 1,\n  \"b\": \"x\"\n}"},
        {"{\"a\":{\"b\":1}}", "{\n  \"a\":\n  {\n    \"b\": 1\n  }\n}"},
        {"[1,2]", "[\n  1,\n  2\n]"},
        {"[]", "[\n]"},
        {"{\"a\":[ ]}", "{\n  \"a\":\n  [\n  ]\n}"},
        {"{\"a\":\"\\u0041\\n\\\"\"}", "{\n  \"a\": \"\\u0041\\n\\\"\"\n}"},
    };
    for (const auto& row : kRows) {
        EXPECT_EQ(normalizeJson(row.text), row.normalized) << row.text;
    }
}

/// Deliberate: this is how the writer copies a tree.
TEST(NormalizeJson, AnEmptyObjectBecomesNull) {
    EXPECT_EQ(normalizeJson("{}"), "null");
    EXPECT_EQ(normalizeJson(" { } "), "null");
    EXPECT_EQ(normalizeJson("{\"a\":{},\"b\":[{}]}"), normalizeJson("{\"a\":null,\"b\":[null]}"));
}

TEST(NormalizeJson, MakesDocumentsThatDifferInLayoutEqual) {
    const std::string compact = "{\"a\":[1,{\"b\":null},\"c d\"],\"e\":{\"f\":-1.5e3}}";
    const std::string spaced =
        "  { \"a\" :\t[ 1 ,\r\n { \"b\" : null } , \"c d\" ] ,\n\n \"e\" : { \"f\" : -1.5e3 } } \n";
    EXPECT_EQ(normalizeJson(spaced), normalizeJson(compact));
    EXPECT_EQ(normalizeJson(normalizeJson(compact)), normalizeJson(compact));
}

TEST(NormalizeJson, KeepsDocumentsThatDifferInContentApart) {
    const std::string text = normalizeJson("{\"a\":[1,\"c d\"],\"e\":2}");
    for (const char* other : {"{\"a\":[1,\"cd\"],\"e\":2}", "{\"a\":[1,\"c d\"],\"e\":3}",
                              "{\"e\":2,\"a\":[1,\"c d\"]}", "{\"a\":[\"c d\",1],\"e\":2}",
                              "{\"a\":[1,\"c d\"]}", "{\"a\":[1,\"c  d\"],\"e\":2}"}) {
        EXPECT_NE(normalizeJson(other), text) << other;
    }
}

TEST(NormalizeJson, LetsTheReadersExceptionsPass) {
    for (const char* text : {"{", "[1,2", "{\"a\":1} x", "[1 2]"}) {
        EXPECT_THROW(static_cast<void>(normalizeJson(text)), std::runtime_error) << text;
    }
}

}  // namespace
