#include "vorn/common/time/UnixTime.h"

#include <algorithm>
#include <cfenv>
#include <charconv>
#include <chrono>
#include <cmath>
#include <ostream>
#include <system_error>

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
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::nanoseconds(sinceEpoch).count();
}

/// Writes `value` with at least `width` digits and returns the place after the last one.
char* writeDigits(char* out, unsigned int value, unsigned int width) noexcept {
    char digits[10];
    char* const end = digits + sizeof digits;
    char* first = end;
    while (value != 0 || width != 0) {
        *--first = static_cast<char>('0' + value % 10);
        value /= 10;
        width -= width != 0;
    }
    return std::copy(first, end, out);
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
    constexpr unsigned int kDay = 86400;
    const unsigned int whole = toIntegralType();
    const unsigned int ofDay = whole % kDay;
    const std::chrono::year_month_day date{
        std::chrono::sys_days(std::chrono::days(static_cast<int>(whole / kDay)))};

    char text[32];
    char* out = writeDigits(text, static_cast<unsigned int>(static_cast<int>(date.year())), 4);
    *out++ = '-';
    out = writeDigits(out, static_cast<unsigned int>(date.month()), 2);
    *out++ = '-';
    out = writeDigits(out, static_cast<unsigned int>(date.day()), 2);
    *out++ = 'T';
    out = writeDigits(out, ofDay / 3600, 2);
    *out++ = ':';
    out = writeDigits(out, ofDay / 60 % 60, 2);
    *out++ = ':';
    out = writeDigits(out, ofDay % 60, 2);
    if (highPrecision_) {
        *out++ = '.';
        out = writeDigits(out, static_cast<unsigned int>(std::round(fraction() * 1000)), 3);
    }
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
