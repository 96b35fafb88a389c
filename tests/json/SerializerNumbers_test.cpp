// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Serializer.h"

#include <locale.h>

#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstring>
#include <iomanip>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/CommaLocale.h"
#include "helpers/environment.h"

namespace {

using vorn::common::lwjson::Serializer;

template <class Number>
std::string streamed(Number value, std::optional<unsigned char> precision, int decimals) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    if (precision) {
        stream << std::fixed << std::setprecision(*precision) << value;
    } else {
        stream << std::scientific << std::setprecision(decimals) << value;
    }
    return stream.str() + ",";
}

template <class Number, class... Precision>
std::string written(Number value, Precision... precision) {
    Serializer json(Serializer::Compact);
    json.addValue(value, precision...);
    return json.json();
}

template <class Number>
std::vector<Number> numbers() {
    using Limits = std::numeric_limits<Number>;
    std::vector<Number> values = {0,
                                  1,
                                  Number(0.5),
                                  Number(0.125),
                                  Number(2.5),
                                  Number(1) / 3,
                                  Number(0.1),
                                  Number(9.995),
                                  Number(999999.9999999),
                                  Number(1e10),
                                  Number(123456789.123456789),
                                  Limits::max(),
                                  Limits::min(),
                                  Limits::denorm_min(),
                                  Limits::epsilon(),
                                  Limits::infinity(),
                                  Limits::quiet_NaN()};
    for (int exponent = Limits::min_exponent10; exponent < Limits::max_exponent10;
         exponent += std::max(1, Limits::max_exponent10 / 40)) {
        values.push_back(std::pow(Number(10), Number(exponent)));
        values.push_back(std::pow(Number(10), Number(exponent)) * Number(1.5));
    }
    for (std::size_t i = values.size(); i-- > 0;) {
        values.push_back(-values[i]);
    }
    return values;
}

constexpr std::optional<unsigned char> kNone;
const std::optional<unsigned char> kPrecisions[] = {kNone, 0, 1, 2, 3, 6, 15, 16, 17, 100, 255};

TEST(SerializerNumbers, FloatsAreWrittenAsAStreamWritesThem) {
    for (const float value : numbers<float>()) {
        for (const auto precision : kPrecisions) {
            ASSERT_EQ(written(value, precision), streamed(value, precision, 8)) << value;
        }
    }
    EXPECT_EQ(written(0.5F), "5.00000000e-01,");
    EXPECT_EQ(written(0.5F, 2), "0.50,");
}

TEST(SerializerNumbers, DoublesAreWrittenAsAStreamWritesThem) {
    for (const double value : numbers<double>()) {
        for (const auto precision : kPrecisions) {
            ASSERT_EQ(written(value, precision), streamed(value, precision, 16)) << value;
        }
    }
    std::mt19937_64 random(11);
    const int rounds = helpers::kSlow ? 1000 : 5000;
    for (int i = 0; i < rounds; ++i) {
        const std::uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        const std::optional<unsigned char> precision =
            kPrecisions[random() % std::size(kPrecisions)];
        ASSERT_EQ(written(value, precision), streamed(value, precision, 16)) << bits;
    }
    EXPECT_EQ(written(-0.0), "-0.0000000000000000e+00,");
    EXPECT_EQ(written(-0.0, 1), "-0.0,");
    EXPECT_EQ(written(0.5, 0), "0,");
    EXPECT_EQ(written(1.5, 0), "2,");
    EXPECT_EQ(written(DBL_MAX, 255).size(), 309U + 1 + 255 + 1);
}

TEST(SerializerNumbers, LongDoublesAreWrittenAsAStreamWritesThem) {
    for (const long double value : numbers<long double>()) {
        ASSERT_EQ(written(value), streamed(value, kNone, 16)) << value;
    }
}

TEST(SerializerNumbers, NotANumberAndInfinityAreBare) {
    EXPECT_EQ(written(std::nan("")), "nan,");
    EXPECT_EQ(written(-std::numeric_limits<double>::infinity(), 2), "-inf,");
    EXPECT_EQ(written(std::numeric_limits<float>::infinity()), "inf,");
    EXPECT_EQ(written(std::numeric_limits<long double>::infinity()), "inf,");
}

template <class Integer>
void expectLimits() {
    using Limits = std::numeric_limits<Integer>;
    for (const Integer value : {Limits::min(), Limits::max(), Integer{0}, Integer{7}}) {
        EXPECT_EQ(written(value), std::to_string(value) + ",");
    }
}

TEST(SerializerNumbers, IntegersAreDecimal) {
    expectLimits<signed char>();
    expectLimits<unsigned char>();
    expectLimits<short>();
    expectLimits<unsigned short>();
    expectLimits<int>();
    expectLimits<unsigned>();
    expectLimits<long>();
    expectLimits<unsigned long>();
    expectLimits<long long>();
    expectLimits<unsigned long long>();
    EXPECT_EQ(written(static_cast<unsigned char>('A')), "65,");
}

/// A C++ locale with a decimal comma and grouped thousands.
struct CommaPunctuation : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(SerializerNumbers, TheGlobalLocaleChangesNothing) {
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new CommaPunctuation));
    std::ostringstream check;
    check << 1234.5;
    const std::string texts[] = {check.str(), written(1234.5, 1), written(1234.5F, 1),
                                 written(1234.5L), written(1234567)};
    std::locale::global(before);
    const std::string expected[] = {"1.234,5", "1234.5,", "1234.5,", "1.2345000000000000e+03,",
                                    "1234567,"};
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(texts[i], expected[i]);
    }
}

TEST(SerializerNumbers, TheThreadsLocaleStaysAsItWas) {
    // Not one of this test's: the C library has a single "C" for all who ask, the library as well.
    ASSERT_EQ(::uselocale(nullptr), LC_GLOBAL_LOCALE);
    EXPECT_EQ(written(0.25L), "2.5000000000000000e-01,");
    EXPECT_EQ(::uselocale(nullptr), LC_GLOBAL_LOCALE);
}

TEST(SerializerNumbers, ACommaLocaleChangesNothing) {
    const helpers::CommaLocale locale;
    if (!locale.isInForce()) {
        GTEST_SKIP() << "localedef could not make a locale with a decimal comma";
    }
    EXPECT_EQ(written(1234.5, 1), "1234.5,");
    EXPECT_EQ(written(1234.5F, 1), "1234.5,");
    EXPECT_EQ(written(1234.5), "1.2345000000000000e+03,");
    EXPECT_EQ(written(1234.5L), "1.2345000000000000e+03,");
    EXPECT_EQ(written(1234567), "1234567,");
    EXPECT_EQ(*std::localeconv()->decimal_point, ',');
}

}  // namespace
