// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Deserializer.h"

#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "referenceComparison.h"

namespace {

using vorn::common::lwjson::Deserializer;
using Context = Deserializer::CompareContext;
using Type = Deserializer::MemberType;

std::string report(const Deserializer& expected, const Deserializer& found) {
    std::ostringstream text;
    const bool equal = expected.compare(found, text);
    EXPECT_EQ(equal, text.str().empty());
    EXPECT_EQ(expected.compare(found), equal);
    return text.str();
}

std::string report(const std::string& expected, const std::string& found) {
    constexpr auto kOptions = Deserializer::AllowEmptyValues;
    return report(Deserializer(std::string_view(expected), kOptions),
                  Deserializer(std::string_view(found), kOptions));
}

TEST(DeserializerComparison, Reports) {
    const struct {
        const char* expected;
        const char* found;
        const char* report;
    } rows[] = {
        {R"({"a":1,"b":[1,2]})", R"({"a":1,"b":[1,2]})", ""},
        {R"({"a":1,"b":2})", R"( { "b" : 2, "a" : 1 } )", ""},
        {R"({"a":{"b":1}})", R"({"a":{"b":2}})", "a.b - value mismatch: found 2, expected 1\n"},
        {"[1,2,3]", "[1,5]",
         "array size mismatch: found 2, expected 3\n[1] - value mismatch: found 5, expected 2\n"},
        {"[1]", "[1,2,3]", "array size mismatch: found 3, expected 1\n"},
        {R"({"a":1})", R"({"b":1})", "missing key 'a'\nunexpected key 'b'\n"},
        {"{}", "[]", "type mismatch: found array, expected object\n"},
        {"1", "{}", "type mismatch: found object, expected value\n"},
        {"", "1", "type mismatch: found value, expected undefined\n"},
        {"[1]", "", "type mismatch: found undefined, expected array\n"},
        {"", " ", ""},
        {"1", "1.0", "value mismatch: found 1.0, expected 1\n"},
        {"null", "null", ""},
        {"null", "0", "value mismatch: found 0, expected null\n"},
        {R"("a/b")", R"("a\/b")", "value mismatch: found \"a\\/b\", expected \"a/b\"\n"},
        {R"("x")", "x", "value mismatch: found x, expected \"x\"\n"},
        {R"({"a":1})", R"({"a":2,"b":3})",
         "object size mismatch: found 2, expected 1\na - value mismatch: found 2, expected 1\n"
         "unexpected key 'b'\n"},
        {R"({"a":[{"b":[1,2]}]})", R"({"a":[{"b":[1,3]}]})",
         "a[0].b[1] - value mismatch: found 3, expected 2\n"},
        {R"({"a":[{"b":1}]})", R"({"a":[{"c":1},2]})",
         "a - array size mismatch: found 2, expected 1\na[0] - missing key 'b'\n"
         "a[0] - unexpected key 'c'\n"},
        {"[[1]]", "[[2]]", "[0][0] - value mismatch: found 2, expected 1\n"},
        {R"([{"x":1}])", R"([{"x":[]}])", "[0].x - type mismatch: found array, expected value\n"},
        {R"({"a.b":{"c\"d":1}})", R"({"a.b":{"c\"d":2}})",
         "a.b.c\\\"d - value mismatch: found 2, expected 1\n"},
        {"[1,,2]", "[1,,2]", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(report(row.expected, row.found), row.report) << row.expected << " " << row.found;
    }
}

TEST(DeserializerComparison, AKeyStandsForItsFirstMember) {
    EXPECT_EQ(report(R"({"a":1,"a":2})", R"({"a":1,"a":2})"),
              "a - value mismatch: found 1, expected 2\n");
    EXPECT_EQ(report(R"({"a":1,"a":1})", R"({"a":1,"a":2})"), "");
    EXPECT_EQ(report(R"({"a":1,"b":2})", R"({"a":1,"a":2})"), "missing key 'b'\n");
}

TEST(DeserializerComparison, TheExceptionHoldsTheKindOfTheFirstDifference) {
    const struct {
        const char* expected;
        const char* found;
        const char* text;
    } rows[] = {
        {"1", "[]", "Type mismatch"},
        {"[1]", "[2,3]", "Array size mismatch"},
        {R"({"a":1})", "{}", "Object size mismatch"},
        {R"({"a":1})", R"({"b":1})", "Missing key"},
        {R"({"a":1,"b":2})", R"({"a":1,"a":2})", "Missing key"},
        {R"({"a":1,"a":1})", R"({"a":1,"b":2})", "Unexpected key"},
        {R"([[{"a":1}]])", R"([[{"a":2}]])", "Value mismatch"},
    };
    for (const auto& row : rows) {
        const Deserializer expected(row.expected);
        const Deserializer found(row.found);
        std::ostringstream silent;
        const Context context(true, &silent, false);
        EXPECT_THROW_TEXT(expected.compare(found, context), Context::Exception, row.text);
        EXPECT_EQ(context.differences(), 1U);
        EXPECT_EQ(silent.str(), "");
        EXPECT_FALSE(expected.compare(found));
        EXPECT_THROW(expected.compare(found, context), std::runtime_error);
        EXPECT_EQ(context.differences(), 2U);
    }
}

TEST(DeserializerComparison, AContextCountsReportsAndThrows) {
    const Deserializer expected("[1,2,3]");
    const Deserializer found("[4,5,3]");
    const Context counting(false, nullptr, false);
    expected.compare(found, counting);
    EXPECT_EQ(counting.differences(), 2U);
    const Context nowhere(false, nullptr, true);
    expected.compare(found, nowhere);
    EXPECT_EQ(nowhere.differences(), 2U);
    std::ostringstream text;
    const Context both(true, &text, true);
    EXPECT_THROW(expected.compare(found, both), Context::Exception);
    EXPECT_EQ(text.str(), "[0] - value mismatch: found 4, expected 1\n");
}

TEST(DeserializerComparison, DerivedContextsShareTheCounter) {
    std::ostringstream text;
    const Context root(false, &text, true);
    EXPECT_EQ(root.path(), "");
    const Context element = root.member("a").member("b").element(2).element(0).member("c");
    EXPECT_EQ(element.path(), "a.b[2][0].c");
    EXPECT_EQ(root.element(7).path(), "[7]");
    Deserializer("1").compare(Deserializer("2"), element);
    Deserializer("[1]").compare(Deserializer("[2]"), element);
    Deserializer(R"({"x":1})").compare(Deserializer(R"({"x":[]})"), element);
    EXPECT_EQ(text.str(),
              "a.b[2][0].c - value mismatch: found 2, expected 1\n"
              "a.b[2][0].c[0] - value mismatch: found 2, expected 1\n"
              "a.b[2][0].c.x - type mismatch: found array, expected value\n");
    EXPECT_EQ(root.differences(), 3U);
    EXPECT_EQ(element.differences(), 3U);
}

TEST(DeserializerComparison, TheStreamsFormattingDoesNotMatter) {
    std::ostringstream text;
    text << std::hex << std::showbase;
    text.width(60);
    EXPECT_FALSE(Deserializer("[1]").compare(Deserializer("[1,2,3,4,5,6,7,8,9,10,11]"), text));
    EXPECT_EQ(text.str(), "array size mismatch: found 11, expected 1\n");
}

/// What a search from the front for every key reports.
std::string plainReport(const Deserializer& expected, const Deserializer& found) {
    ReferenceComparison comparison;
    comparison.compare(expected, found);
    return comparison.report;
}

TEST(DeserializerComparison, WideObjectsAreComparedAsNarrowOnes) {
    std::mt19937 random(7);
    const int rounds = helpers::kSlow ? 100 : 300;
    for (int round = 0; round < rounds; ++round) {
        const unsigned keys = 5 + random() % 60;
        const auto make = [&] {
            std::string text = "{";
            const unsigned members = random() % 50;
            for (unsigned i = 0; i < members; ++i) {
                text += (i == 0 ? "\"k" : ",\"k") + std::to_string(random() % keys) +
                        "\":" + std::to_string(random() % 2);
            }
            return Deserializer(text + "}");
        };
        const Deserializer expected = make();
        const Deserializer found = round % 3 == 0 ? expected : make();
        ASSERT_EQ(report(expected, found), plainReport(expected, found))
            << expected.value.view() << "\n"
            << found.value.view();
    }
}

/// Lists of the same names in the same order, some of them twice, with a value changed here and
/// there: each member is compared with the first of its name, which need not be at its own place.
TEST(DeserializerComparison, EqualListsOfNamesAreComparedAsOthers) {
    std::mt19937 random(11);
    const int rounds = helpers::kSlow ? 300 : 3000;
    for (int round = 0; round < rounds; ++round) {
        const unsigned members = round % 50 == 0 ? 200 : random() % 30;
        const unsigned repeats = random() % 3 == 0 ? 20 : 100000;
        std::string expected = "{";
        std::string found = "{";
        for (unsigned i = 0; i < members; ++i) {
            const unsigned number = random() % repeats;
            const std::string member = (i == 0 ? "\"" : ",\"") + std::string(number % 23, 'n') +
                                       std::to_string(number) + "\":";
            const std::string value = std::to_string(random() % 1000);
            expected += member + value;
            found += member + (random() % 20 == 0 ? "\"other\"" : value);
        }
        const Deserializer left(expected + "}");
        const Deserializer right(found + "}");
        ASSERT_EQ(report(left, right), plainReport(left, right)) << expected << "\n" << found;
        ASSERT_EQ(left.compare(right), plainReport(left, right).empty());
    }
}

TEST(DeserializerComparison, ManyMembersTakeNoQuadraticTime) {
    const auto make = [](bool backwards) {
        constexpr int kMembers = 30000;
        std::string text = "{";
        for (int i = 0; i < kMembers; ++i) {
            text += (i == 0 ? "\"key" : ",\"key") +
                    std::to_string(backwards ? kMembers - 1 - i : i) + "\":1";
        }
        return Deserializer(text + "}");
    };
    const Deserializer expected = make(false);
    EXPECT_EQ(report(expected, expected), "");
    EXPECT_EQ(report(expected, make(true)), "");
}

TEST(DeserializerComparison, AHundredLevelsAreCompared) {
    const std::string open(100, '[');
    const std::string close(100, ']');
    std::string path;
    for (int i = 0; i < 100; ++i) {
        path += "[0]";
    }
    EXPECT_EQ(report(open + "1" + close, open + "2" + close),
              path + " - value mismatch: found 2, expected 1\n");
}

}  // namespace
