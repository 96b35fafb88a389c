// SPDX-License-Identifier: MIT
#include <cerrno>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/TypedArgs.h>

#include "helpers/CommaLocale.h"
#include "helpers/expect_throw.h"

namespace {

using vorn::common::GetTypedArgHelper;
using namespace std::string_literals;

constexpr const char* kBoolean = "Invalid argument: boolean value expected";
constexpr const char* kString = "Invalid argument: string value expected";
constexpr const char* kSigned = "Invalid argument: signed integer value expected";
constexpr const char* kUnsigned = "Invalid argument: unsigned integer value expected";
constexpr const char* kFloating = "Invalid argument: floating point value expected";

template <class T>
concept Readable = requires {
    sizeof(GetTypedArgHelper<T>);
};
static_assert(Readable<bool> && Readable<std::string> && Readable<long> && Readable<long double>);
static_assert(!Readable<char> && !Readable<wchar_t> && !Readable<char8_t> &&
              !Readable<const char*> && !Readable<int*> && !Readable<const int> &&
              !Readable<std::vector<int>> && !Readable<void>);

TEST(GetTypedArgHelper, ReadsBooleans) {
    EXPECT_TRUE(GetTypedArgHelper<bool>::get("true"));
    EXPECT_FALSE(GetTypedArgHelper<bool>::get("false"));
    for (const auto& text : {"True"s, "TRUE"s, "False"s, ""s, "1"s, "0"s, " true"s, "true "s,
                             "truetrue"s, "tru"s, "\"true\""s, "true\0"s}) {
        SCOPED_TRACE(text);
        EXPECT_THROW_TEXT(GetTypedArgHelper<bool>::get(text), std::invalid_argument, kBoolean);
    }
}

TEST(GetTypedArgHelper, ReadsStringsBetweenQuotes) {
    const std::pair<std::string, std::string> rows[] = {
        {R"("")", ""},          {R"("a")", "a"},        {R"("a b")", "a b"},
        {R"(""")", "\""},       {R"("a"b")", "a\"b"},   {R"("a\"b\n")", R"(a\"b\n)"},
        {R"("\")", "\\"},       {"\"a\0b\""s, "a\0b"s}, {"\"\xc3\xa9\xff\"", "\xc3\xa9\xff"},
        {R"("" "")", R"(" ")"},
    };
    for (const auto& [text, expected] : rows) {
        SCOPED_TRACE(text);
        const std::string_view view = GetTypedArgHelper<std::string_view>::get(text);
        EXPECT_EQ(view, expected);
        EXPECT_EQ(view.data(), text.data() + 1);
        EXPECT_EQ(GetTypedArgHelper<std::string>::get(text), expected);
    }
    for (const auto& text :
         {""s, "\""s, "a"s, "ab"s, "\"a"s, "a\""s, "'a'"s, " \"a\""s, "\"a\" "s, "\"\"\0"s}) {
        SCOPED_TRACE(text);
        EXPECT_THROW_TEXT(GetTypedArgHelper<std::string_view>::get(text), std::invalid_argument,
                          kString);
        EXPECT_THROW_TEXT(GetTypedArgHelper<std::string>::get(text), std::invalid_argument,
                          kString);
    }
}

/// The leading number of each text, as far as 64 bits hold it.
struct IntegerRow {
    std::string text;
    std::optional<long long> asSigned;
    std::optional<unsigned long long> asUnsigned;
};

const IntegerRow& row(long long value) {
    static IntegerRow made;
    made = {std::to_string(value), value, std::nullopt};
    if (value >= 0) {
        made.asUnsigned = static_cast<unsigned long long>(value);
    }
    return made;
}

template <class T>
void expectRow(const IntegerRow& number) {
    SCOPED_TRACE(number.text);
    std::optional<T> expected;
    if constexpr (std::is_signed_v<T>) {
        if (number.asSigned && *number.asSigned >= std::numeric_limits<T>::min() &&
            *number.asSigned <= std::numeric_limits<T>::max()) {
            expected = static_cast<T>(*number.asSigned);
        }
    } else if (number.asUnsigned && *number.asUnsigned <= std::numeric_limits<T>::max()) {
        expected = static_cast<T>(*number.asUnsigned);
    }
    if (expected) {
        EXPECT_EQ(GetTypedArgHelper<T>::get(number.text), *expected);
    } else {
        EXPECT_THROW_TEXT(GetTypedArgHelper<T>::get(number.text), std::invalid_argument,
                          std::is_signed_v<T> ? kSigned : kUnsigned);
    }
}

void expectForEveryType(const IntegerRow& number) {
    expectRow<signed char>(number);
    expectRow<unsigned char>(number);
    expectRow<short>(number);
    expectRow<unsigned short>(number);
    expectRow<int>(number);
    expectRow<unsigned>(number);
    expectRow<long>(number);
    expectRow<unsigned long>(number);
    expectRow<long long>(number);
    expectRow<unsigned long long>(number);
}

TEST(GetTypedArgHelper, ReadsEveryIntegerTypeToItsLimits) {
    for (const int bits : {7, 8, 15, 16, 31, 32, 62}) {
        for (long long offset = -2; offset <= 2; ++offset) {
            expectForEveryType(row((1LL << bits) + offset));
            expectForEveryType(row(-(1LL << bits) + offset));
        }
    }
    for (long long value = -300; value <= 300; ++value) {
        expectForEveryType(row(value));
    }
    const auto none = std::nullopt;
    const IntegerRow rows[] = {
        {"9223372036854775807", 9223372036854775807LL, 9223372036854775807ULL},
        {"9223372036854775808", none, 9223372036854775808ULL},
        {"-9223372036854775808", std::numeric_limits<long long>::min(), none},
        {"-9223372036854775809", none, none},
        {"18446744073709551615", none, 18446744073709551615ULL},
        {"18446744073709551616", none, none},
        {"-18446744073709551615", none, none},
        {"-18446744073709551616", none, none},
        {"4294967296000000000000000000001", none, none},
        {std::string(1000, '9'), none, none},
        {std::string(1000, '0') + "7", 7, 7},
    };
    for (const auto& number : rows) {
        expectForEveryType(number);
    }
}

/// Deliberate: only the leading part has to be a number.
TEST(GetTypedArgHelper, LooksAtTheLeadingDigitsOnly) {
    const auto none = std::nullopt;
    const IntegerRow rows[] = {
        {"12abc", 12, 12},      {"12 ", 12, 12},
        {"12.9", 12, 12},       {"1e3", 1, 1},
        {"0x10", 0, 0},         {"007", 7, 7},
        {"-0", 0, none},        {"-0x", 0, none},
        {"-5", -5, none},       {"-5-5", -5, none},
        {"5-", 5, 5},           {"7\0008"s, 7, 7},
        {"3,4", 3, 3},          {"1'000", 1, 1},
        {"", none, none},       {"-", none, none},
        {"--5", none, none},    {"+5", none, none},
        {"-+5", none, none},    {" 5", none, none},
        {"\t5", none, none},    {"- 5", none, none},
        {"a5", none, none},     {"\"5\"", none, none},
        {".5", none, none},     {"\xd9\xa5", none, none},
        {"\0005"s, none, none}, {"null", none, none},
    };
    for (const auto& number : rows) {
        expectForEveryType(number);
    }
}

TEST(GetTypedArgHelper, NeverReadsBehindTheView) {
    const std::string text = "1234";
    EXPECT_EQ(GetTypedArgHelper<int>::get(std::string_view(text).substr(0, 2)), 12);
    EXPECT_EQ(GetTypedArgHelper<double>::get(std::string_view(text).substr(0, 2)), 12.0);
    EXPECT_THROW(static_cast<void>(GetTypedArgHelper<int>::get(std::string_view())),
                 std::invalid_argument);
    EXPECT_THROW(static_cast<void>(GetTypedArgHelper<double>::get(std::string_view())),
                 std::invalid_argument);
}

template <class T>
void expectFloatingPoint() {
    const std::pair<std::string, long double> rows[] = {
        {"0", 0.0L},       {"1", 1.0L},       {"-1.5", -1.5L}, {"+2.25", 2.25L}, {" 3.5", 3.5L},
        {"\n\t 4", 4.0L},  {"5abc", 5.0L},    {"6.5,7", 6.5L}, {"7 8", 7.0L},    {".5", 0.5L},
        {"8.", 8.0L},      {"1e3", 1000.0L},  {"1e", 1.0L},    {"0x1p4", 16.0L}, {"0x", 0.0L},
        {"2.5E-1", 0.25L}, {"9\0001"s, 9.0L}, {"1.2.3", 1.2L}, {"00012", 12.0L}, {"1e+2x", 100.0L},
    };
    for (const auto& [text, expected] : rows) {
        SCOPED_TRACE(text);
        EXPECT_EQ(GetTypedArgHelper<T>::get(text), static_cast<T>(expected));
    }
    constexpr auto kInfinity = std::numeric_limits<T>::infinity();
    for (const auto* text : {"inf", "INF", "infinity", "+Inf", " inf", "infx"}) {
        EXPECT_EQ(GetTypedArgHelper<T>::get(text), kInfinity) << text;
    }
    EXPECT_EQ(GetTypedArgHelper<T>::get("-inf"), -kInfinity);
    for (const auto* text : {"nan", "NaN", "-nan", "nan(12)"}) {
        EXPECT_TRUE(std::isnan(GetTypedArgHelper<T>::get(text))) << text;
    }
    EXPECT_TRUE(std::signbit(GetTypedArgHelper<T>::get("-0")));
    for (const auto& text : {""s, " "s, "abc"s, "-"s, "+"s, "."s, "e5"s, "--1"s, "- 1"s, ",5"s,
                             "\"1\""s, "in"s, "\0001"s, "1e99999"s, "-1e99999"s, "1e-99999"s}) {
        SCOPED_TRACE(text);
        EXPECT_THROW_TEXT(GetTypedArgHelper<T>::get(text), std::invalid_argument, kFloating);
    }
}

TEST(GetTypedArgHelper, ReadsFloatingPointNumbers) {
    expectFloatingPoint<float>();
    expectFloatingPoint<double>();
    expectFloatingPoint<long double>();
}

/// Deliberate: narrowed without a range test.
TEST(GetTypedArgHelper, NarrowsFloatingPointNumbers) {
    EXPECT_EQ(GetTypedArgHelper<float>::get("1e300"), std::numeric_limits<float>::infinity());
    EXPECT_EQ(GetTypedArgHelper<float>::get("-1e300"), -std::numeric_limits<float>::infinity());
    EXPECT_EQ(GetTypedArgHelper<float>::get("1e-300"), 0.0f);
    EXPECT_EQ(GetTypedArgHelper<float>::get("0.1"), 0.1f);
    EXPECT_EQ(GetTypedArgHelper<double>::get("0.1"), 0.1);
    EXPECT_EQ(GetTypedArgHelper<long double>::get("0.1"), 0.1L);
}

TEST(GetTypedArgHelper, LeavesErrnoAlone) {
    for (const auto* text : {"1.5", "1e99999", "x"}) {
        errno = ENOENT;
        try {
            static_cast<void>(GetTypedArgHelper<double>::get(text));
        } catch (const std::invalid_argument&) {
        }
        EXPECT_EQ(errno, ENOENT) << text;
    }
    errno = ERANGE;
    EXPECT_EQ(GetTypedArgHelper<double>::get("1.5"), 1.5);
    EXPECT_EQ(errno, ERANGE);
}

TEST(GetTypedArgHelper, ACommaLocaleChangesNothing) {
    const helpers::CommaLocale locale;
    if (!locale.isInForce()) {
        GTEST_SKIP() << "localedef could not make a locale with a decimal comma";
    }
    EXPECT_EQ(GetTypedArgHelper<float>::get("1.5"), 1.5f);
    EXPECT_EQ(GetTypedArgHelper<double>::get("1.5"), 1.5);
    EXPECT_EQ(GetTypedArgHelper<double>::get("1,5"), 1.0);
    EXPECT_EQ(GetTypedArgHelper<long double>::get("2.25"), 2.25L);
    EXPECT_EQ(GetTypedArgHelper<int>::get("1.500"), 1);
}

}  // namespace
