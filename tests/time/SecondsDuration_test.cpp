// SPDX-License-Identifier: MIT
#include <iomanip>
#include <locale>
#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/time/SecondsDuration.h>

namespace {

using vorn::common::time::SecondsDuration;
using namespace std::chrono_literals;

static_assert(std::is_same_v<vorn::common::SecondsDuration, SecondsDuration>);
static_assert(sizeof(SecondsDuration) == 4);
static_assert(!std::is_convertible_v<unsigned, SecondsDuration>);
static_assert(SecondsDuration().count() == 0);

struct Limits {
    SecondsDuration soft;
    SecondsDuration hard;
};
static_assert(Limits{}.hard == SecondsDuration(0));
static_assert([](SecondsDuration duration = {}) { return duration; }() == SecondsDuration(0));
static_assert(SecondsDuration::INFINITE.count() == 4294967295U);
static_assert(SecondsDuration::INFINITE.isInfinite());
static_assert(!SecondsDuration(4294967294U).isInfinite());
static_assert(SecondsDuration(1) < SecondsDuration(2));
static_assert(SecondsDuration(4294967295U) == SecondsDuration::INFINITE);
static_assert(SecondsDuration(7).toTimepoint(std::chrono::steady_clock::time_point()) ==
              std::chrono::steady_clock::time_point(7s));

template <class Clock>
class SecondsDurationTimepoint : public testing::Test {};
using Clocks = testing::Types<std::chrono::steady_clock, std::chrono::system_clock>;
TYPED_TEST_SUITE(SecondsDurationTimepoint, Clocks);

TYPED_TEST(SecondsDurationTimepoint, AddsSeconds) {
    using TimePoint = typename TypeParam::time_point;
    for (const auto from :
         {TimePoint(), TimePoint(5ns), TimePoint(-7h), TimePoint::min(), TypeParam::now()}) {
        EXPECT_EQ(SecondsDuration(0).toTimepoint(from), from);
        EXPECT_EQ(SecondsDuration(30).toTimepoint(from), from + 30s);
        EXPECT_EQ(SecondsDuration(4294967294U).toTimepoint(from), from + 4294967294s);
        EXPECT_EQ(SecondsDuration::INFINITE.toTimepoint(from), TimePoint::max());
    }
}

TYPED_TEST(SecondsDurationTimepoint, SaturatesAtTheLargestTimePoint) {
    using TimePoint = typename TypeParam::time_point;
    const auto largest = TimePoint::max();
    EXPECT_EQ(SecondsDuration(10).toTimepoint(largest - 10s - 1ns), largest - 1ns);
    EXPECT_EQ(SecondsDuration(10).toTimepoint(largest - 10s), largest);
    EXPECT_EQ(SecondsDuration(10).toTimepoint(largest - 9s), largest);
    EXPECT_EQ(SecondsDuration(10).toTimepoint(largest), largest);
    EXPECT_EQ(SecondsDuration(0).toTimepoint(largest), largest);
    EXPECT_EQ(SecondsDuration(4294967294U).toTimepoint(largest), largest);
}

TEST(SecondsDuration, Text) {
    for (const auto& [count, text] : {std::pair{0U, "0s"},
                                      {30U, "30s"},
                                      {4294967294U, "4294967294s"},
                                      {4294967295U, "INFINITE"}}) {
        std::ostringstream stream;
        stream << SecondsDuration(count);
        EXPECT_EQ(stream.str(), text);
    }
}

TEST(SecondsDuration, StreamKeepsTheCallersFormat) {
    struct Grouping : std::numpunct<char> {
        std::string do_grouping() const override { return "\3"; }
    };
    std::ostringstream stream;
    stream.imbue(std::locale(std::locale::classic(), new Grouping));
    stream << std::hex << std::showbase << std::setfill('*') << std::setprecision(3)
           << std::setw(60);
    const auto flags = stream.flags();
    stream << SecondsDuration(86400) << SecondsDuration::INFINITE;
    EXPECT_EQ(stream.str(), "86400sINFINITE");
    EXPECT_EQ(stream.flags(), flags);
    EXPECT_EQ(stream.fill(), '*');
    EXPECT_EQ(stream.precision(), 3);
    EXPECT_EQ(stream.width(), 60);
}

}  // namespace
