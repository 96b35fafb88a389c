// SPDX-License-Identifier: MIT
// Times of any bits and durations of any count: texts, parts and sums are those of the description,
// computed in the plainest way.
#include <cfenv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>

#include <vorn/common/time/SecondsDuration.h>
#include <vorn/common/time/UnixTime.h>

#include "fuzz.h"
#include "time/referenceTime.h"

namespace {

using vorn::common::time::SecondsDuration;
using vorn::common::time::UnixTime;

constexpr double kInfinite = 4294967295.0;

void parts(const UnixTime& time) {
    double whole = 0.0;
    const double fraction = std::modf(time.seconds(), &whole);
    const bool none = time.isUndefined() || !time.highPrecision();
    const auto part = [&](double scaled, unsigned largest) {
        return time.isInfinite() ? largest : none ? 0 : static_cast<unsigned>(scaled);
    };
    fuzz::same(part(fraction * 1e3, 999), time.milliSeconds(), "milliseconds");
    fuzz::same(part(fraction * 1e6, 999999), time.microSeconds(), "microseconds");
    const double nanos = std::round(fraction * 1e6) * 1000;
    fuzz::same(part(nanos > 999999999 ? 999999000 : nanos, 999999999), time.nanoSeconds(),
               "nanoseconds");
    const unsigned integral = time.isInfinite()    ? 4294967295U
                              : time.isUndefined() ? 0
                                                   : static_cast<unsigned>(whole);
    fuzz::same(integral, time.toIntegralType(), "whole seconds");
    UnixTime truncated = time;
    truncated.trunc();
    fuzz::same(whole, truncated.seconds(), "truncated");
    fuzz::require(!truncated.highPrecision(), "precision of what is truncated");
}

void sums(const UnixTime& time, const SecondsDuration& duration) {
    const double seconds = time.seconds();
    const bool moves = seconds >= 0.0 && seconds < kInfinite;
    const bool infinite = duration.count() == 4294967295U;
    const bool fits =
        !infinite && 4294967295U - duration.count() > static_cast<unsigned>(moves ? seconds : 0);
    UnixTime later = time;
    later += duration;
    fuzz::same(!moves ? seconds
               : fits ? seconds + duration.count()
                      : kInfinite,
               later.seconds(), "+=");
    UnixTime earlier = time;
    earlier -= duration;
    const bool above = !infinite && static_cast<double>(duration.count()) < seconds;
    fuzz::same(!moves  ? seconds
               : above ? seconds - duration.count()
                       : 0.0,
               earlier.seconds(), "-=");
    fuzz::same(time.highPrecision(), later.highPrecision(), "precision after +=");
    fuzz::same(time.highPrecision(), earlier.highPrecision(), "precision after -=");
}

void texts(const UnixTime& time, const SecondsDuration& duration) {
    const std::string text = reference::textOfTime({time.seconds(), time.highPrecision()});
    fuzz::same(text, time.toIso8601(), "ISO 8601");
    std::ostringstream expected;
    expected << text << " (" << std::fixed << std::setprecision(9) << std::setw(10)
             << std::setfill('0') << time.seconds() << ")";
    expected << (duration.isInfinite() ? "INFINITE" : std::to_string(duration.count()) + "s");
    std::ostringstream found;
    found << std::hex << std::showpos << std::setw(40) << std::setfill('*') << time << duration;
    fuzz::same(expected.str(), found.str(), "streamed");
}

/// The sum downward, by the processor's own mode; volatile keeps the arithmetic between the calls.
void fromParts(unsigned seconds, unsigned nanoSeconds) {
    volatile double sum = seconds;
    const volatile double nanos = nanoSeconds;
    const volatile double scale = 1e9;
    const int mode = std::fegetround();
    static_cast<void>(std::fesetround(FE_DOWNWARD));
    volatile double fraction = nanos / scale;
    sum = sum + fraction;
    static_cast<void>(std::fesetround(mode));
    const double expected = seconds == 4294967295U    ? kInfinite
                            : nanoSeconds > 999999999 ? -1.0
                            : sum > kInfinite         ? kInfinite
                                                      : sum;
    const UnixTime found(seconds, nanoSeconds);
    fuzz::same(expected, found.seconds(), "from seconds and nanoseconds");
    fuzz::require(found.highPrecision(), "precision of parts");
    fuzz::same(mode, std::fegetround(), "rounding mode");
}

template <class Clock>
void deadline(const SecondsDuration& duration, std::int64_t from) {
    using Point = typename Clock::time_point;
    const Point start{std::chrono::nanoseconds(from)};
    const std::int64_t nanos = std::int64_t{duration.count()} * 1000000000;
    std::int64_t room = 0;
    const bool fits =
        __builtin_sub_overflow(std::numeric_limits<std::int64_t>::max(), from, &room) ||
        nanos < room;
    const Point expected = duration.isInfinite() || !fits
                               ? Point::max()
                               : Point(std::chrono::nanoseconds(from + nanos));
    fuzz::require(duration.toTimepoint(start) == expected, "deadline");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned choice = input.byte();
    auto seconds = input.number<double>();
    // Few bits make a usual time.
    if (choice & 2U) {
        seconds = input.number<std::uint32_t>() + input.number<std::uint16_t>() / 65536.0;
    }
    const auto time = UnixTime::fromSeconds(seconds, (choice & 1U) != 0);
    fuzz::same(seconds == seconds ? seconds : -1.0, time.seconds(), "seconds");
    fuzz::same(seconds < 0.0 || seconds != seconds, time.isUndefined(), "undefined");
    fuzz::same(seconds >= kInfinite, time.isInfinite(), "infinite");
    const SecondsDuration duration(input.number<std::uint32_t>());
    parts(time);
    sums(time, duration);
    texts(time, duration);
    const auto whole = input.number<std::uint32_t>();
    fromParts(whole, input.number<std::uint32_t>());
    fromParts(whole, input.number<std::uint32_t>() % 1000000001U);
    const auto from = input.number<std::int64_t>();
    deadline<std::chrono::steady_clock>(duration, from);
    deadline<std::chrono::system_clock>(duration, from);
    return 0;
}
