// SPDX-License-Identifier: MIT

// The boundaries of origins and instants that are up to 584 years apart.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <mutex>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/time/ClockAlignedTimer.h>

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using vorn::common::time::ClockAlignedTimer;
using TimePoint = ClockAlignedTimer::TimePoint;

constexpr std::int64_t kFirst = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();

/// A timer whose origin the test moves.
class Boundaries {
  public:
    explicit Boundaries(milliseconds period)
        : timer_({}, period, [this](TimePoint) { return origin_; }) {}

    TimePoint after(TimePoint now, TimePoint origin) {
        std::unique_lock lock(timer_.mutex());
        origin_ = origin;
        return timer_.getNextTimePoint(now, lock);
    }

  private:
    TimePoint origin_;
    ClockAlignedTimer timer_;
};

TEST(ClockAlignedTimerExtremes, BoundariesAreExactHoweverOldTheOriginIs) {
    struct Row {
        std::int64_t next;
        std::int64_t now;
        std::int64_t origin;
        milliseconds period;
    };
    constexpr std::int64_t kMs = 1'000'000;
    constexpr std::int64_t kHour = 3'600'000 * kMs;
    const std::vector<Row> rows{
        // an origin at the clock's beginning
        {kFirst + kMs, kFirst, kFirst, 1ms},
        {kFirst + 2 * kMs, kFirst + kMs, kFirst, 1ms},
        {kFirst + kHour, kFirst + kHour - 1, kFirst, 1h},
        {224'192 + kMs, 224'192, kFirst, 1ms},
        {763'145'224'192, 0, kFirst, 1h},
        {kLast - 2'073'709'551'615, kLast - kHour, kFirst, 1h},
        // beyond the clock's end
        {kLast, kLast, kFirst, 1h},
        {kLast, kLast, kFirst, 1ms},
        {kLast, kLast, kLast, 1ms},
        {kLast, 0, 0, milliseconds::max()},
        {kLast, kFirst, kFirst, milliseconds::max()},
        // an origin at the clock's end
        {kLast, kLast - 1, kLast, 1h},
        {kLast, kLast - kHour, kLast, 1h},
        {kLast - kHour, kLast - 2 * kHour, kLast, 1h},
        {kLast - kHour, kLast - 3 * kHour + 1, kLast, 1h},
        {kLast, kFirst, kLast, milliseconds::max()},
        {kFirst + 1'551'615, kFirst, kLast, 1ms},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "now " << row.now << ", origin " << row.origin
                                        << ", period " << row.period.count() << " ms");
        Boundaries boundaries(row.period);
        EXPECT_EQ(
            boundaries.after(TimePoint(nanoseconds(row.now)), TimePoint(nanoseconds(row.origin)))
                .time_since_epoch()
                .count(),
            row.next);
    }
}

TEST(ClockAlignedTimerExtremes, MidnightIsABoundaryOnTheFirstAndTheLastDay) {
    ClockAlignedTimer timer({}, 7min);
    std::unique_lock lock(timer.mutex());
    const TimePoint first = TimePoint::min();
    const TimePoint firstMidnight(nanoseconds(-106751 * 24h));
    EXPECT_EQ(timer.getNextTimePoint(first, lock), first + 7min);
    EXPECT_EQ(timer.getNextTimePoint(firstMidnight - 1ns, lock), firstMidnight);
    EXPECT_EQ(timer.getNextTimePoint(TimePoint::max(), lock), TimePoint::max());
}

#ifdef __SIZEOF_INT128__

__extension__ using Wide = __int128;

std::int64_t plainBoundary(std::int64_t now, std::int64_t origin, std::int64_t periodMs) {
    constexpr Wide kNanoseconds = 1'000'000;
    const Wide elapsed = (Wide{now} - origin) / kNanoseconds;
    const Wide k = elapsed / periodMs + 1;
    const Wide next = origin + k * periodMs * kNanoseconds;
    return static_cast<std::int64_t>(std::min<Wide>(next, kLast));
}

TEST(ClockAlignedTimerExtremes, BoundariesAreThoseOfTheFormulaIn128Bits) {
    std::mt19937_64 random(8);
    const auto anyInstant = [&] { return static_cast<std::int64_t>(random()); };
    std::vector<std::int64_t> instants{
        kFirst, kFirst + 1, kFirst + 999'999, kFirst + 1'000'000, -1'000'000, -1,   0,
        1,      999'999,    1'000'000,        kLast - 1'000'000,  kLast - 1,  kLast};
    for (int i = 0; i < 200; ++i) {
        instants.push_back(anyInstant());
    }
    for (const std::int64_t period :
         {std::int64_t{1}, std::int64_t{2}, std::int64_t{7}, std::int64_t{1000},
          std::int64_t{86'400'000}, std::int64_t{9'223'372'036'854},
          std::int64_t{9'223'372'036'855}, std::int64_t{18'446'744'073'709},
          std::int64_t{18'446'744'073'710}, kLast - 1, kLast}) {
        Boundaries boundaries{milliseconds(period)};
        for (const auto now : instants) {
            for (const auto origin : instants) {
                ASSERT_EQ(
                    boundaries.after(TimePoint(nanoseconds(now)), TimePoint(nanoseconds(origin)))
                        .time_since_epoch()
                        .count(),
                    plainBoundary(now, origin, period))
                    << "now " << now << ", origin " << origin << ", period " << period << " ms";
            }
        }
    }
}

#else

TEST(ClockAlignedTimerExtremes, BoundariesAreThoseOfTheFormulaIn128Bits) {
    GTEST_SKIP() << "this compiler has no 128-bit integers to compare with";
}

#endif

}  // namespace
