// SPDX-License-Identifier: MIT
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "lwjson/scientific.h"

namespace {

using vorn::common::internal::kScientificRoom;
using vorn::common::internal::writeScientific;

void expectAsStandard(double value) {
    char expected[64];
    const char* const end = std::to_chars(expected, expected + sizeof expected, value,
                                          std::chars_format::scientific, 16)
                                .ptr;
    char found[kScientificRoom];
    const char* const foundEnd = writeScientific(found, value);
    ASSERT_EQ(std::string_view(found, static_cast<std::size_t>(foundEnd - found)),
              std::string_view(expected, static_cast<std::size_t>(end - expected)));
}

const int kRounds = helpers::kSlow ? 20000 : 400000;

TEST(Scientific, PowersAndTheirNeighbours) {
    for (int power = -330; power <= 309; ++power) {
        double value = std::strtod(("1e" + std::to_string(power)).c_str(), nullptr);
        for (int i = 0; i < 3; ++i, value = std::nextafter(value, 0.0)) {
            expectAsStandard(value);
            expectAsStandard(-value);
        }
    }
    for (int power = -1074; power <= 1023; ++power) {
        const double value = std::ldexp(1.0, power);
        for (const double neighbour :
             {value, std::nextafter(value, 0.0), std::nextafter(value, 1e308)}) {
            expectAsStandard(neighbour);
        }
    }
    for (const double value :
         {0.0, -0.0, 9.9999999999999995, 99999999999999990.0, 1e16, 1e17,
          std::numeric_limits<double>::max(), std::numeric_limits<double>::infinity()}) {
        expectAsStandard(value);
    }
}

TEST(Scientific, NumbersOfEverySizeAtRandom) {
    std::mt19937_64 random(17);
    for (int i = 0; i < kRounds; ++i) {
        expectAsStandard(std::bit_cast<double>(random() & 0xFFEF'FFFF'FFFF'FFFFULL));
        expectAsStandard(std::ldexp(static_cast<double>(random() >> 11),
                                    static_cast<int>(random() % 220) - 170));
    }
}

/// Odd multiples of powers of a half end in 5: those of 18 digits are just between two texts.
TEST(Scientific, HalvesGoToTheEvenDigit) {
    std::mt19937_64 random(19);
    for (int i = 0; i < kRounds; ++i) {
        const int places = static_cast<int>(random() % 20);
        expectAsStandard(
            std::ldexp(static_cast<double>(random() >> (11 + random() % 40)), -places));
    }
    expectAsStandard(1125899906842624.125);
    expectAsStandard(1125899906842624.375);
    expectAsStandard(9007199254740991.5);
}

TEST(Scientific, DecimalNumbersOfAFewPlaces) {
    std::mt19937 random(23);
    for (int i = 0; i < kRounds; ++i) {
        expectAsStandard(static_cast<double>(static_cast<int>(random())) /
                         std::pow(10.0, random() % 10));
    }
}

}  // namespace
