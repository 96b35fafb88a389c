// SPDX-License-Identifier: MIT
#include <cfenv>
#include <chrono>
#include <cmath>
#include <limits>
#include <random>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/time/UnixTime.h>

namespace {

using vorn::common::time::SecondsDuration;
using vorn::common::time::UnixTime;

constexpr double kInfinite = 4294967295.0;
constexpr double kHuge = std::numeric_limits<double>::infinity();

static_assert(std::is_same_v<vorn::common::UnixTime, UnixTime>);
static_assert(std::is_trivially_copyable_v<UnixTime>);
static_assert(UnixTime::UNDEFINED.seconds() == -1.0 && UnixTime::UNDEFINED.highPrecision());
static_assert(UnixTime::INFINITE.seconds() == kInfinite && UnixTime::INFINITE.highPrecision());
static_assert((UnixTime::fromSeconds(1.5) += SecondsDuration(2)).toIntegralType() == 3);
static_assert((UnixTime::fromSeconds(1.5) -= SecondsDuration(1)).milliSeconds() == 500);
static_assert(UnixTime::fromSeconds(7.75).trunc() == UnixTime::fromSeconds(7.0));

UnixTime lateConstantUser = UnixTime::INFINITE;

TEST(UnixTime, DefaultIsUndefined) {
    EXPECT_EQ(UnixTime().seconds(), -1.0);
    EXPECT_TRUE(UnixTime().isUndefined());
    EXPECT_TRUE(lateConstantUser.isInfinite());
}

TEST(UnixTime, FromSecondsKeepsItsArgumentsButNoNan) {
    for (const double seconds : {0.0, -3.5, 1e18, kHuge, -kHuge, kInfinite, 12.25}) {
        for (const bool precise : {true, false}) {
            EXPECT_EQ(UnixTime::fromSeconds(seconds, precise).seconds(), seconds);
            EXPECT_EQ(UnixTime::fromSeconds(seconds, precise).highPrecision(), precise);
        }
    }
    EXPECT_TRUE(UnixTime::fromSeconds(1).highPrecision());
    EXPECT_EQ(UnixTime::fromSeconds(std::nan("")).seconds(), -1.0);
}

TEST(UnixTime, PredicatesTestWholeRanges) {
    struct Row {
        double seconds;
        bool undefined;
        bool infinite;
    };
    for (const Row& row :
         {Row{-1.0, true, false}, Row{-1e-300, true, false}, Row{-kHuge, true, false},
          Row{-0.0, false, false}, Row{0.0, false, false}, Row{4294967294.9999995, false, false},
          Row{kInfinite, false, true}, Row{kHuge, false, true}}) {
        EXPECT_EQ(UnixTime::fromSeconds(row.seconds).isUndefined(), row.undefined) << row.seconds;
        EXPECT_EQ(UnixTime::fromSeconds(row.seconds).isInfinite(), row.infinite) << row.seconds;
    }
}

struct Sum {
    unsigned seconds;
    unsigned nanoSeconds;
    double expected;
};

constexpr Sum kRoundedDownward[] = {
    {0U, 0U, 0.0},
    {0U, 1U, 0x1.12e0be826d694p-30},
    {0U, 999999999U, 0x1.fffffff768fa0p-1},
    {1U, 100000000U, 0x1.1999999999999p+0},
    {1U, 999999999U, 0x1.fffffffbb47d0p+0},
    {15U, 817077201U, 0x1.fa257f1613455p+3},
    {3439U, 100780963U, 0x1.ade33998ff849p+11},
    {30703945U, 634746160U, 0x1.d48149a27eb96p+24},
    {439062303U, 967900366U, 0x1.a2b8f1ff7c851p+28},
    {0U, 946217654U, 0x1.e476a3eda7db1p-1},
    {3548U, 453244221U, 0x1.bb8e80fa06497p+11},
    {224U, 532374341U, 0x1.c110935e9fa62p+7},
    {214748959U, 199615329U, 0x1.9999e3e6633fap+27},
    {50962399U, 325739463U, 0x1.84cfefa9b1d4ap+25},
    {1700000000U, 250000000U, 1700000000.25},
    {2147483648U, 1U, 2147483648.0},
    {4294967294U, 0U, 4294967294.0},
    {4294967294U, 999999999U, 0x1.fffffffdfffffp+31},
};

// Deliberate: the sum is rounded downward.
TEST(UnixTime, SumOfSecondsAndNanosecondsIsRoundedDownward) {
    for (const Sum& row : kRoundedDownward) {
        const UnixTime time(row.seconds, row.nanoSeconds);
        EXPECT_EQ(time.seconds(), row.expected) << row.seconds << " " << row.nanoSeconds;
        EXPECT_TRUE(time.highPrecision());
    }
    EXPECT_EQ(UnixTime(1, 100000000).seconds(), kRoundedDownward[3].expected) << "literals";
}

TEST(UnixTime, RoundingModeOfTheCallerIsRestoredAndWithoutInfluence) {
    for (const int mode : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        const double sum = UnixTime(15U, 817077201U).seconds();
        const int after = std::fegetround();
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(sum, 0x1.fa257f1613455p+3) << mode;
        EXPECT_EQ(after, mode);
    }
}

TEST(UnixTime, ConstructorSaturates) {
    EXPECT_EQ(UnixTime(4294967295U, 0U).seconds(), kInfinite);
    EXPECT_EQ(UnixTime(4294967295U, 4000000000U).seconds(), kInfinite);
    EXPECT_EQ(UnixTime(5U, 1000000000U).seconds(), -1.0);
    EXPECT_EQ(UnixTime(0U, 4294967295U).seconds(), -1.0);
    EXPECT_TRUE(UnixTime(4294967295U, 0U).highPrecision());
    EXPECT_TRUE(UnixTime(5U, 1000000000U).highPrecision());
}

TEST(UnixTime, NowReadsTheWallClock) {
    const auto wallClock = [] {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    const double before = wallClock();
    const UnixTime whole = UnixTime::now();
    const UnixTime precise = UnixTime::nowWithHighPrecision();
    const double after = wallClock();

    EXPECT_FALSE(whole.highPrecision());
    EXPECT_EQ(whole.seconds(), std::floor(whole.seconds()));
    EXPECT_GE(whole.seconds(), std::floor(before));
    EXPECT_LE(whole.seconds(), after);
    EXPECT_TRUE(precise.highPrecision());
    EXPECT_GE(precise.seconds(), before - 1e-5);
    EXPECT_LE(precise.seconds(), after + 1e-5);
}

TEST(UnixTime, HighPrecisionClockHasFractions) {
    bool fraction = false;
    for (int i = 0; i < 1000 && !fraction; ++i) {
        fraction = UnixTime::nowWithHighPrecision().microSeconds() % 1000 != 0;
    }
    EXPECT_TRUE(fraction);
}

TEST(UnixTime, ComparisonsLookAtTheSecondsAlone) {
    const auto one = UnixTime::fromSeconds(1.0, true);
    EXPECT_EQ(one, UnixTime::fromSeconds(1.0, false));
    EXPECT_NE(one, UnixTime::fromSeconds(1.5));
    EXPECT_LT(one, UnixTime::fromSeconds(1.5));
    EXPECT_GT(one, UnixTime::UNDEFINED);
    EXPECT_LE(one, UnixTime::INFINITE);
    EXPECT_GE(UnixTime::INFINITE, UnixTime(4294967295U, 7U));
}

TEST(UnixTime, IntegralTypeIsTowardZeroAndSaturates) {
    struct Row {
        double seconds;
        unsigned expected;
    };
    for (const Row& row : {Row{-1.0, 0U}, Row{-1e300, 0U}, Row{0.0, 0U}, Row{0.999, 0U},
                           Row{2147483648.5, 2147483648U}, Row{4294967294.9999995, 4294967294U},
                           Row{kInfinite, 4294967295U}, Row{1e300, 4294967295U},
                           Row{kHuge, 4294967295U}, Row{-kHuge, 0U}}) {
        EXPECT_EQ(UnixTime::fromSeconds(row.seconds).toIntegralType(), row.expected) << row.seconds;
    }
}

TEST(UnixTime, TruncDropsFractionAndPrecision) {
    struct Row {
        double seconds;
        double expected;
    };
    for (const Row& row : {Row{1.75, 1.0}, Row{0.999, 0.0}, Row{-1.5, -1.0}, Row{-0.5, 0.0},
                           Row{4294967294.9999995, 4294967294.0}, Row{kInfinite + 0.5, kInfinite},
                           Row{1e300, 1e300}, Row{kHuge, kHuge}, Row{-kHuge, -kHuge}}) {
        auto time = UnixTime::fromSeconds(row.seconds);
        EXPECT_EQ(&time.trunc(), &time);
        EXPECT_EQ(time.seconds(), row.expected);
        EXPECT_FALSE(time.highPrecision());
    }
}

TEST(UnixTime, SubSecondParts) {
    struct Row {
        double seconds;
        bool precise;
        unsigned milli;
        unsigned micro;
        unsigned nano;
    };
    for (const Row& row :
         {Row{0.123456789, true, 123, 123456, 123457000}, Row{0.123456789, false, 0, 0, 0},
          Row{7.0, true, 0, 0, 0}, Row{1.9996, true, 999, 999600, 999600000},
          Row{0.9999996, true, 999, 999999, 999999000},
          Row{0.9999999999999999, true, 999, 999999, 999999000}, Row{0.0000005, true, 0, 0, 1000},
          Row{0.00000049, true, 0, 0, 0}, Row{1700000000.25, true, 250, 250000, 250000000},
          Row{4294967294.9999995, true, 999, 999999, 999999000}, Row{-0.75, true, 0, 0, 0},
          Row{-1.0, true, 0, 0, 0}, Row{kInfinite, true, 999, 999999, 999999999},
          Row{kInfinite, false, 999, 999999, 999999999},
          Row{kHuge, true, 999, 999999, 999999999}}) {
        const auto time = UnixTime::fromSeconds(row.seconds, row.precise);
        EXPECT_EQ(time.milliSeconds(), row.milli) << row.seconds;
        EXPECT_EQ(time.microSeconds(), row.micro) << row.seconds;
        EXPECT_EQ(time.nanoSeconds(), row.nano) << row.seconds;
    }
}

// Deliberate: nanoSeconds() has microsecond resolution.
TEST(UnixTime, NanosecondsAreRoundedToMicroseconds) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> seconds(0.0, kInfinite);
    for (int i = 0; i < 10000; ++i) {
        const auto time = UnixTime::fromSeconds(seconds(random));
        double whole = 0.0;
        const double fraction = std::modf(time.seconds(), &whole);
        const double nanos = std::round(fraction * 1e6) * 1000;
        const auto expected = nanos > 999999999 ? 999999000U : static_cast<unsigned>(nanos);
        ASSERT_EQ(time.nanoSeconds(), expected) << time.seconds();
    }
}

}  // namespace
