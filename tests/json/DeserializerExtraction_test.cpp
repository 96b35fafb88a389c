// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Deserializer.h"

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/CommaLocale.h"
#include "helpers/expect_throw.h"

namespace {

using vorn::common::Uuid;
using vorn::common::lwjson::Deserializer;
using vorn::common::time::SecondsDuration;
using vorn::common::time::UnixTime;

template <class T>
T extract(const std::string& text, T before = T{}) {
    T value = before;
    Deserializer::extractValue(text.c_str(), static_cast<unsigned>(text.size()), value, "member");
    return value;
}

template <class T>
concept Extractable = requires(const Deserializer& node) {
    node.as<T>();
};
struct Point {};
static_assert(Extractable<bool> && Extractable<signed char> && Extractable<unsigned long long> &&
              Extractable<long double> && Extractable<std::string> && Extractable<Uuid> &&
              Extractable<UnixTime> && Extractable<SecondsDuration>);
static_assert(!Extractable<char> && !Extractable<std::string_view> && !Extractable<const int> &&
              !Extractable<const char*> && !Extractable<std::vector<int>> && !Extractable<Point> &&
              !Extractable<void>);

TEST(DeserializerExtraction, Booleans) {
    EXPECT_TRUE(extract<bool>("true"));
    EXPECT_FALSE(extract<bool>("false", true));
    for (const char* text : {"", "tru", "TRUE", "True", "true ", " true", "truex", "false1",
                             "falsE", "1", "0", "null", "\"true\"", "[true]"}) {
        EXPECT_THROW_TEXT(extract<bool>(text), std::invalid_argument,
                          "lwjson::deserializer \"member\" is not a boolean");
    }
    bool value = false;
    Deserializer::extractValue("trueish", 4, value, "member");
    EXPECT_TRUE(value);
}

TEST(DeserializerExtraction, AFailureLeavesTheTargetAsItWas) {
    bool truth = true;
    EXPECT_THROW(Deserializer::extractValue("x", 1, truth, ""), std::invalid_argument);
    EXPECT_TRUE(truth);
    double number = 4.5;
    EXPECT_THROW(Deserializer::extractValue("x", 1, number, ""), std::invalid_argument);
    EXPECT_THROW(Deserializer::extractValue("1e999", 5, number, ""), std::out_of_range);
    EXPECT_EQ(number, 4.5);
    int integer = 4;
    EXPECT_THROW(Deserializer::extractValue("x", 1, integer, ""), std::invalid_argument);
    EXPECT_THROW(Deserializer::extractValue("3000000000", 10, integer, ""), std::out_of_range);
    EXPECT_EQ(integer, 4);
    std::string string = "before";
    EXPECT_THROW(Deserializer::extractValue("x", 1, string, ""), std::invalid_argument);
    EXPECT_EQ(string, "before");
    Uuid uuid = Uuid::UNKNOWN;
    EXPECT_THROW(Deserializer::extractValue("\"x\"", 3, uuid, ""), std::invalid_argument);
    EXPECT_EQ(uuid, Uuid::UNKNOWN);
    UnixTime time = UnixTime::fromSeconds(7);
    EXPECT_THROW(Deserializer::extractValue("x", 1, time, ""), std::invalid_argument);
    EXPECT_EQ(time, UnixTime::fromSeconds(7));
    SecondsDuration duration(7);
    EXPECT_THROW(Deserializer::extractValue("-1", 2, duration, ""), std::out_of_range);
    EXPECT_EQ(duration.count(), 7U);
}

TEST(DeserializerExtraction, ANodeWithoutTextHasNoValue) {
    bool truth = false;
    EXPECT_THROW_TEXT(Deserializer::extractValue(nullptr, 0, truth, "k"), std::invalid_argument,
                      "lwjson::deserializer \"k\" is not a boolean");
    double number = 0;
    EXPECT_THROW_TEXT(Deserializer::extractValue(nullptr, 0, number, "k"), std::invalid_argument,
                      "stod");
    float single = 0;
    EXPECT_THROW_TEXT(Deserializer::extractValue(nullptr, 0, single, "k"), std::invalid_argument,
                      "stof");
    long double wide = 0;
    EXPECT_THROW_TEXT(Deserializer::extractValue(nullptr, 0, wide, "k"), std::invalid_argument,
                      "stold");
    std::string text;
    EXPECT_THROW_TEXT(Deserializer::extractValue(nullptr, 0, text, "k"), std::invalid_argument,
                      "lwjson::deserializer \"k\" is not a string");
    Uuid uuid;
    EXPECT_THROW_TEXT(Deserializer::extractValue(nullptr, 0, uuid, "k"), std::invalid_argument,
                      "lwjson::deserializer \"k\" is not a string");
    UnixTime time;
    EXPECT_THROW_TEXT(Deserializer::extractValue(nullptr, 0, time, "k"), std::invalid_argument,
                      "stod");
    int integer = 0;
    EXPECT_THROW_TEXT(Deserializer::extractValue(nullptr, 0, integer, "k"), std::invalid_argument,
                      "lwjson::deserializer \"k\" is not an integer");
    SecondsDuration duration;
    Deserializer::extractValue(nullptr, 0, duration, "k");
    EXPECT_TRUE(duration.isInfinite());
    EXPECT_THROW_TEXT(Deserializer::extractValue("x", 1, integer, nullptr), std::invalid_argument,
                      "lwjson::deserializer \"\" is not an integer");
}

/// The result of a conversion as text: the number, "none" or "range".
template <class T>
std::string converted(const std::string& text, T (*convert)(const std::string&)) {
    try {
        const T value = convert(text);
        char digits[80];
        std::snprintf(digits, sizeof digits, "%.40Lg", static_cast<long double>(value));
        return digits;
    } catch (const std::invalid_argument& error) {
        return std::string("none ") + error.what();
    } catch (const std::out_of_range& error) {
        return std::string("range ") + error.what();
    }
}

std::vector<std::string> numberTexts() {
    std::vector<std::string> texts = {"",
                                      "abc",
                                      "-",
                                      "+",
                                      ".",
                                      "e5",
                                      "1.5}",
                                      "1.5,2",
                                      "0",
                                      "-0",
                                      "+0",
                                      "0.0",
                                      "-0.0e5",
                                      "1",
                                      "+1",
                                      " 1",
                                      "\t\n\v\f\r-2",
                                      "1.",
                                      ".5",
                                      "-.5",
                                      "1.e5",
                                      "1e",
                                      "1e+",
                                      "1e-",
                                      "1e5",
                                      "1E5",
                                      "1e+5",
                                      "1e-5",
                                      "1e5.5",
                                      "1.5.5",
                                      "1-2",
                                      "1+2",
                                      "0x10",
                                      "0X1p4",
                                      "-0x1.8p1",
                                      "0x",
                                      "0xg",
                                      "1x",
                                      "nan",
                                      "-nan",
                                      "NaN(12)",
                                      "inf",
                                      "-inf",
                                      "infinity",
                                      "INF",
                                      "infx",
                                      "1e999",
                                      "-1e999",
                                      "1e-999",
                                      "1e308",
                                      "1.7976931348623157e308",
                                      "1.7976931348623158e308",
                                      "1.7976931348623159e308",
                                      "1.8e308",
                                      "2.2250738585072014e-308",
                                      "2.2250738585072011e-308",
                                      "2.225073858507201e-308",
                                      "4.9e-324",
                                      "2e-324",
                                      "1e-310",
                                      "5e-324",
                                      "3.4028235e38",
                                      "3.4028236e38",
                                      "1.1754944e-38",
                                      "1.1754943e-38",
                                      "1e-40",
                                      "1e-45",
                                      "1e-46",
                                      "0.1",
                                      "0.3",
                                      "123456789012345678901234567890",
                                      "9007199254740993",
                                      "0.1e",
                                      "1_000",
                                      "true",
                                      "\"1\"",
                                      "1,5",
                                      "16777217",
                                      "0.000000000000000000000000000000000000000000001",
                                      "1e4933",
                                      "1e-4951",
                                      "3e-4951",
                                      "00012",
                                      "1e0000000000000000000005",
                                      "1e99999999999999999999",
                                      "1e-99999999999999999999"};
    texts.push_back(std::string(1000, '9'));
    texts.push_back("0." + std::string(1000, '3'));
    texts.push_back("1" + std::string(400, '0') + "e-400");
    return texts;
}

TEST(DeserializerExtraction, FloatingPointNumbersAreTheStandardConversions) {
    for (const std::string& text : numberTexts()) {
        EXPECT_EQ(converted<double>(text, [](const std::string& t) { return extract<double>(t); }),
                  converted<double>(text, [](const std::string& t) { return std::stod(t); }))
            << text;
        EXPECT_EQ(converted<float>(text, [](const std::string& t) { return extract<float>(t); }),
                  converted<float>(text, [](const std::string& t) { return std::stof(t); }))
            << text;
        using Wide = long double;
        EXPECT_EQ(converted<Wide>(text, [](const std::string& t) { return extract<Wide>(t); }),
                  converted<Wide>(text, [](const std::string& t) { return std::stold(t); }))
            << text;
    }
    EXPECT_EQ(extract<double>("1.5}"), 1.5);
    EXPECT_THROW_TEXT(extract<double>("abc"), std::invalid_argument, "stod");
    EXPECT_THROW_TEXT(extract<double>("1e999"), std::out_of_range, "stod");
    EXPECT_THROW_TEXT(extract<float>("abc"), std::invalid_argument, "stof");
    EXPECT_THROW_TEXT(extract<float>("1e39"), std::out_of_range, "stof");
    EXPECT_THROW_TEXT(extract<long double>("abc"), std::invalid_argument, "stold");
    EXPECT_THROW_TEXT(extract<long double>("1e9999"), std::out_of_range, "stold");
    EXPECT_TRUE(std::signbit(extract<double>("-0")));
    EXPECT_TRUE(std::isnan(extract<double>("nan")));
}

TEST(DeserializerExtraction, NumbersAreReadBeyondTheirSize) {
    double number = 0;
    Deserializer::extractValue("12345", 2, number, "");
    EXPECT_EQ(number, 12345);
    int integer = 0;
    Deserializer::extractValue("12345", 2, integer, "");
    EXPECT_EQ(integer, 12345);
    SecondsDuration duration;
    Deserializer::extractValue("12345", 2, duration, "");
    EXPECT_EQ(duration.count(), 12345U);
}

TEST(DeserializerExtraction, ErrnoIsRestored) {
    for (const int value : {0, ERANGE, 77}) {
        for (const char* text : {"1", " 1", "x", "1e999", "1e-999", "99999999999999999999999"}) {
            errno = value;
            const auto attempt = [&]<class T>(T target) {
                try {
                    Deserializer::extractValue(text, 1, target, "");
                } catch (const std::exception&) {
                }
                EXPECT_EQ(errno, value) << text;
            };
            attempt(1.0);
            attempt(1.0F);
            attempt(1.0L);
            attempt(1);
            attempt(UnixTime());
            attempt(SecondsDuration());
        }
    }
}

TEST(DeserializerExtraction, Uuids) {
    const Uuid expected("933d6c80-dea9-8c6b-d111-8b3b46a181f1");
    for (const std::string& text : {expected.to_string(), expected.to_hex(), expected.base64()}) {
        EXPECT_EQ(extract<Uuid>("\"" + text + "\""), expected) << text;
    }
    EXPECT_EQ(extract<Uuid>("\"ABCDABCDABCDABCD\\/ABCDA\""), Uuid("ABCDABCDABCDABCD/ABCDA"));
    EXPECT_THROW_TEXT(extract<Uuid>("933d6c80-dea9-8c6b-d111-8b3b46a181f1"), std::invalid_argument,
                      "lwjson::deserializer \"member\" is not a string");
    std::string error;
    try {
        static_cast<void>(Uuid("12"));
    } catch (const std::invalid_argument& invalid) {
        error = invalid.what();
    }
    EXPECT_THROW_TEXT(extract<Uuid>("\"12\""), std::invalid_argument, error);
}

TEST(DeserializerExtraction, UnixTimes) {
    const UnixTime time = extract<UnixTime>("1700000000.25");
    EXPECT_EQ(time.seconds(), 1700000000.25);
    EXPECT_TRUE(time.highPrecision());
    EXPECT_EQ(extract<UnixTime>("0").seconds(), 0.0);
    EXPECT_FALSE(std::signbit(extract<UnixTime>("-0").seconds()));
    EXPECT_EQ(extract<UnixTime>("4294967294.5").seconds(), 4294967294.5);
    for (const char* text : {"4294967295", "4294967296", "1e300", "inf"}) {
        EXPECT_EQ(extract<UnixTime>(text).seconds(), 4294967295.0) << text;
        EXPECT_TRUE(extract<UnixTime>(text).highPrecision()) << text;
    }
    for (const char* text : {"-1", "-0.001", "1e999", "-1e999", "1e-999", "nan", "-nan", "-inf"}) {
        EXPECT_EQ(extract<UnixTime>(text, UnixTime::fromSeconds(1)).seconds(), -1.0) << text;
    }
    for (const char* text : {"", "x", "null", "\"1\"", "undefined"}) {
        EXPECT_THROW_TEXT(extract<UnixTime>(text), std::invalid_argument, "stod");
    }
}

TEST(DeserializerExtraction, SecondsDurations) {
    const struct {
        const char* text;
        std::uint32_t seconds;
    } rows[] = {{"0", 0},
                {"-0", 0},
                {"+5", 5},
                {" 7", 7},
                {"12x", 12},
                {"1.9", 1},
                {"1e3", 1},
                {"4294967294", 4294967294U},
                {"00000000000000000000000012", 12},
                {"4294967295", 4294967295U}};
    for (const auto& row : rows) {
        EXPECT_EQ(extract<SecondsDuration>(row.text).count(), row.seconds) << row.text;
    }
    for (const char* text : {"4294967296", "-1", "18446744073709551615", "18446744073709551616",
                             "99999999999999999999999", "-18446744073709551615",
                             "-18446744073709551616", "-4294967295"}) {
        EXPECT_THROW_TEXT(extract<SecondsDuration>(text), std::out_of_range,
                          "lwjson::deserializer \"member\" value out of range");
    }
    for (const char* text : {"", "\"x\"", "\"5\"", "null", "-", "+", "-x", "true", "[1]", ".5"}) {
        EXPECT_TRUE(extract<SecondsDuration>(text).isInfinite()) << text;
    }
}

TEST(DeserializerExtraction, AsNamesTheNode) {
    const Deserializer root(R"({"n":-3,"t":true,"s":"a\tb","list":[1.5],"d":30})");
    EXPECT_EQ(root["n"].as<int>(), -3);
    EXPECT_EQ(root["n"].as<long>(), -3);
    EXPECT_TRUE(root["t"].as<bool>());
    EXPECT_EQ(root["s"].as<std::string>(), "a\tb");
    EXPECT_EQ(root["list"][0].as<double>(), 1.5);
    EXPECT_EQ(root["d"].as<SecondsDuration>().count(), 30U);
    EXPECT_THROW_TEXT(root["n"].as<bool>(), std::invalid_argument,
                      "lwjson::deserializer \"n\" is not a boolean");
    EXPECT_THROW_TEXT(root["n"].as<unsigned>(), std::out_of_range,
                      "lwjson::deserializer \"n\" value out of range");
    EXPECT_THROW_TEXT(root["t"].as<short>(), std::invalid_argument,
                      "lwjson::deserializer \"t\" is not an integer");
}

TEST(DeserializerExtraction, ACommaLocaleChangesNothing) {
    const helpers::CommaLocale locale;
    if (!locale.isInForce()) {
        GTEST_SKIP() << "localedef could not make a locale with a decimal comma";
    }
    ASSERT_EQ(std::strtod("1.5", nullptr), 1.0);
    for (const char* text : {"1.5", " 1.5", "+1.5", "0x1.8", "1.5e0"}) {
        EXPECT_EQ(extract<double>(text), 1.5) << text;
        EXPECT_EQ(extract<float>(text), 1.5F) << text;
        EXPECT_EQ(extract<long double>(text), 1.5L) << text;
        EXPECT_EQ(extract<UnixTime>(text).seconds(), 1.5) << text;
        EXPECT_EQ(Deserializer(text).getValueType(), Deserializer::ValueType::Float) << text;
    }
    EXPECT_EQ(extract<double>("1,5"), 1.0);
}

}  // namespace
