// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Deserializer.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/expect_throw.h"

namespace {

using vorn::common::lwjson::Deserializer;

template <class Integer>
class DeserializerIntegers : public testing::Test {};

using Integers = testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned,
                                long, unsigned long, long long, unsigned long long>;
TYPED_TEST_SUITE(DeserializerIntegers, Integers);

static_assert(requires(std::int8_t a, std::uint8_t b, std::int16_t c, std::uint16_t d,
                       std::int32_t e, std::uint32_t f, std::int64_t g, std::uint64_t h,
                       std::size_t i) {
    Deserializer::extractValue("", 0, a, "");
    Deserializer::extractValue("", 0, b, "");
    Deserializer::extractValue("", 0, c, "");
    Deserializer::extractValue("", 0, d, "");
    Deserializer::extractValue("", 0, e, "");
    Deserializer::extractValue("", 0, f, "");
    Deserializer::extractValue("", 0, g, "");
    Deserializer::extractValue("", 0, h, "");
    Deserializer::extractValue("", 0, i, "");
});
template <class T>
concept Extractable = requires(T& value) {
    Deserializer::extractValue("", 0, value, "");
};
static_assert(!Extractable<char>);

/// Compares decimal texts without leading zeros as numbers.
bool atMost(const std::string& left, const std::string& right) {
    return left.size() != right.size() ? left.size() < right.size() : left <= right;
}

/// Every boundary of every type and its neighbours, against every type.
TYPED_TEST(DeserializerIntegers, KeepTheirRanges) {
    std::vector<std::string> magnitudes = {"0",
                                           "1",
                                           "9",
                                           "10",
                                           "42",
                                           "18446744073709551614",
                                           "18446744073709551615",
                                           "18446744073709551616",
                                           "18446744073709551617",
                                           "36893488147419103237",
                                           "1267650600228229401496703205383"};
    for (const int bits : {7, 8, 15, 16, 31, 32, 63}) {
        for (const std::uint64_t offset : {0, 1, 2, 3, 4}) {
            magnitudes.push_back(std::to_string((std::uint64_t{1} << bits) + offset - 2));
        }
    }
    const std::string largest = std::to_string(std::numeric_limits<TypeParam>::max());
    std::string smallest = std::to_string(std::numeric_limits<TypeParam>::min());
    smallest.erase(0, smallest[0] == '-' ? 1 : 0);
    for (const std::string& magnitude : magnitudes) {
        for (const bool negative : {false, true}) {
            const std::string text = (negative ? "-" : "") + magnitude;
            TypeParam out = 55;
            const auto extract = [&] {
                Deserializer::extractValue(text.c_str(), static_cast<unsigned>(text.size()), out,
                                           "n");
            };
            if (atMost(magnitude, negative ? smallest : largest)) {
                EXPECT_NO_THROW(extract()) << text;
                EXPECT_EQ(std::to_string(out), magnitude == "0" ? "0" : text);
            } else {
                EXPECT_THROW_TEXT(extract(), std::out_of_range,
                                  "lwjson::deserializer \"n\" value out of range");
                EXPECT_EQ(out, 55);
            }
        }
    }
}

TYPED_TEST(DeserializerIntegers, ReadADecimalNumberAsFarAsItGoes) {
    const struct {
        const char* text;
        int value;
    } rows[] = {{"7", 7},
                {"+7", 7},
                {" \t\n\v\f\r7", 7},
                {"007", 7},
                {"-0", 0},
                {"7.9", 7},
                {"7e2", 7},
                {"7}", 7},
                {"7,8", 7},
                {"7x", 7},
                {"0x10", 0},
                {"7-", 7},
                {"000000000000000000000000000000000007", 7}};
    for (const auto& row : rows) {
        TypeParam out = 55;
        Deserializer::extractValue(row.text, 1, out, "n");
        EXPECT_EQ(static_cast<int>(out), row.value) << row.text;
    }
}

TYPED_TEST(DeserializerIntegers, RefuseWhatIsNoNumber) {
    for (const char* text : {"", " ", "x", "-", "+", "- 1", "+-1", "--1", ".5", "\"1\"", "true",
                             "null", "[1]", "{}", "e5", "nan", "inf"}) {
        TypeParam out = 55;
        EXPECT_THROW_TEXT(Deserializer::extractValue(text, 1, out, "a key"), std::invalid_argument,
                          "lwjson::deserializer \"a key\" is not an integer");
        EXPECT_EQ(out, 55);
    }
}

}  // namespace
