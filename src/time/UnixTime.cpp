// SPDX-License-Identifier: MIT
#include "vorn/common/time/UnixTime.h"

#include <algorithm>
#include <cfenv>
#include <charconv>
#include <chrono>
#include <ostream>
#include <system_error>

#include "posix/wallClock.h"

namespace vorn::common::time {

namespace {

/// The volatile objects keep the arithmetic between the two changes of the mode; optimisers know
/// nothing of rounding modes.
double addRoundingDownward(unsigned int seconds, unsigned int nanoSeconds) noexcept {
    const int previousMode = std::fegetround();
    std::fesetround(FE_DOWNWARD);
    volatile double nanos = nanoSeconds;
    volatile double fraction = nanos / 1e9;
    volatile double sum = seconds + fraction;
    std::fesetround(previousMode);
    return sum;
}

std::int64_t wallClockNanoseconds() noexcept {
    const auto sinceEpoch = internal::wallClockNow().time_since_epoch();
    return std::chrono::nanoseconds(sinceEpoch).count();
}

/// Writes a value below 100 as two digits and a separator; returns the place behind.
char* writePair(char* out, unsigned int value, char separator) noexcept {
    out[0] = static_cast<char>('0' + value / 10);
    out[1] = static_cast<char>('0' + value % 10);
    out[2] = separator;
    return out + 3;
}

/// Writes a value from 0 to 1000: three digits, or the four of a fraction that was rounded up to
/// the next second, which stays where it is.
char* writeMilliseconds(char* out, unsigned int value) noexcept {
    if (value > 999) {
        *out++ = '1';
        value -= 1000;
    }
    *out++ = static_cast<char>('0' + value / 100);
    *out++ = static_cast<char>('0' + value / 10 % 10);
    *out++ = static_cast<char>('0' + value % 10);
    return out;
}

/// Half away from zero as `std::round`, which is a call here, for a value from 0 to 1000.
unsigned int rounded(double value) noexcept {
    const auto whole = static_cast<unsigned int>(value);
    return value - whole >= 0.5 ? whole + 1 : whole;
}

}  // namespace

UnixTime::UnixTime(unsigned int seconds, unsigned int nanoSeconds) noexcept {
    // An undefined time is what the members begin as.
    if (seconds == std::numeric_limits<std::uint32_t>::max()) {
        seconds_ = kInfinite;
    } else if (nanoSeconds <= 999'999'999) {
        seconds_ = std::min(addRoundingDownward(seconds, nanoSeconds), kInfinite);
    }
}

UnixTime UnixTime::now() noexcept {
    // The low 32 bits: the count starts again in 2106, as everywhere in the system.
    const auto seconds = static_cast<std::uint32_t>(wallClockNanoseconds() / 1'000'000'000);
    return fromSeconds(seconds, false);
}

UnixTime UnixTime::nowWithHighPrecision() noexcept {
    const double seconds = static_cast<double>(wallClockNanoseconds()) / 1e9;
    return fromSeconds(std::min(seconds, kInfinite), true);
}

std::string UnixTime::toIso8601() const {
    if (isUndefined()) {
        return "undefined";
    }
    if (isInfinite()) {
        return "infinite";
    }
    // By arithmetic of our own: `gmtime_r` prints wrong years behind 2038 where time_t has 32 bits.
    constexpr unsigned int kDay = 86400;
    const unsigned int whole = toIntegralType();
    const unsigned int ofDay = whole % kDay;
    const std::chrono::year_month_day date{
        std::chrono::sys_days(std::chrono::days(static_cast<int>(whole / kDay)))};

    char text[32];
    const auto year = static_cast<unsigned int>(static_cast<int>(date.year()));
    // Stepping back takes a separator away again: the year is two pairs without one.
    char* out = writePair(text, year / 100, '-') - 1;
    out = writePair(out, year % 100, '-');
    out = writePair(out, static_cast<unsigned int>(date.month()), '-');
    out = writePair(out, static_cast<unsigned int>(date.day()), 'T');
    out = writePair(out, ofDay / 3600, ':');
    out = writePair(out, ofDay / 60 % 60, ':');
    out = writePair(out, ofDay % 60, '.');
    out = highPrecision_ ? writeMilliseconds(out, rounded(fraction() * 1000)) : out - 1;
    *out++ = 'Z';
    return std::string(text, out);
}

std::ostream& operator<<(std::ostream& stream, const UnixTime& time) {
    constexpr std::size_t kWidth = 10;
    char number[std::numeric_limits<double>::max_exponent10 + 16];
    const auto end =
        std::to_chars(number, number + sizeof number, time.seconds(), std::chars_format::fixed, 9)
            .ptr;
    const auto length = static_cast<std::size_t>(end - number);

    std::string text = time.toIso8601() + " (";
    text.append(length < kWidth ? kWidth - length : 0, '0').append(number, length) += ')';
    // Unformatted: the caller's width, fill, precision and locale neither apply nor are used up.
    return stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace vorn::common::time
