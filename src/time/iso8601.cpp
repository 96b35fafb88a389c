// SPDX-License-Identifier: MIT
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <iterator>
#include <limits>
#include <locale>
#include <optional>
#include <sstream>
#include <string_view>

#include <vorn/common/time/UnixTime.h>

#include "internal/cLocale.h"

namespace vorn::common::time {

namespace {

struct Fraction {
    double value = 0.0;
    bool present = false;
    bool valid = true;
};

Fraction convertFraction(const std::string& text) {
    Fraction fraction;
    fraction.present = true;
    // errno is the only report of an underflow; callers keep theirs.
    const int savedErrno = errno;
    errno = 0;
    const double value = ::strtod_l(text.c_str(), nullptr, internal::cLocale());
    fraction.valid = errno == 0;
    errno = savedErrno;
    if (fraction.valid) {
        fraction.value = value;
    }
    return fraction;
}

Fraction readFraction(std::istream& stream) {
    if (stream.peek() != '.') {
        return {};
    }
    stream.get();
    std::string text = "0.";
    char character = 0;
    while (stream.get(character)) {
        if (character < '0' || character > '9') {
            stream.putback(character);
            break;
        }
        text += character;
    }
    return convertFraction(text);
}

struct Offset {
    std::int64_t hours = 0;
    std::int64_t minutes = 0;
};

/// Reads what follows the sign; empty when the offset is not acceptable.
std::optional<Offset> readOffset(std::istream& stream, char sign) {
    // Formatted input takes a further sign, so that "+-01" counts against its first one.
    int hours = 0;
    const bool hoursAccepted = (stream >> hours) && hours < 100;
    int minutes = 0;
    bool minutesAccepted = true;
    if (stream.peek() == ':') {
        stream.get();
        minutesAccepted = (stream >> minutes) && minutes < 100;
    }
    if (!hoursAccepted || !minutesAccepted) {
        return std::nullopt;
    }
    const int direction = sign == '+' ? -1 : 1;
    return Offset{std::int64_t{direction} * hours, std::int64_t{direction} * minutes};
}

bool fitsCalendarField(std::int64_t value) {
    return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
}

struct Calendar {
    int year, month, day;
    std::int64_t hours, minutes;
    int seconds;

    /// As UTC. Days, hours and minutes may be out of their ranges: days run on into the next month,
    /// an offset moves the rest. By arithmetic of our own, because `timegm` ends in 2038 where
    /// time_t has 32 bits.
    [[nodiscard]] std::int64_t sinceEpoch() const {
        const std::chrono::sys_days firstOfMonth =
            std::chrono::year(year) / std::chrono::month(static_cast<unsigned int>(month)) / 1;
        const std::int64_t days = firstOfMonth.time_since_epoch().count() + day - 1;
        return ((days * 24 + hours) * 60 + minutes) * 60 + seconds;
    }
};

struct Reading {
    std::int64_t whole;
    Fraction fraction;
};

/// For every text, with all the leniency of streams and std::get_time.
std::optional<Reading> readLeniently(const std::string& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    std::tm calendar{};
    calendar.tm_mday = 1;
    if (!(stream >> std::get_time(&calendar, "%Y-%m-%dT%H:%M:%S"))) {
        return std::nullopt;
    }
    const Fraction fraction = readFraction(stream);

    char zone = 'Z';
    Offset offset;
    if (!(stream >> zone) || zone == 'Z') {
        // Asked here only: with an offset an invalid fraction is read as 0.
        if (!fraction.valid) {
            return std::nullopt;
        }
    } else if (zone == '+' || zone == '-') {
        const auto accepted = readOffset(stream, zone);
        if (!accepted) {
            return std::nullopt;
        }
        offset = *accepted;
    } else {
        return std::nullopt;
    }

    // In 64 bits, so that an offset of any int can be added; a sum that a calendar record of ints
    // could not hold counts as a failed conversion.
    const std::int64_t hours = calendar.tm_hour + offset.hours;
    const std::int64_t minutes = calendar.tm_min + offset.minutes;
    if (!fitsCalendarField(hours) || !fitsCalendarField(minutes)) {
        return std::nullopt;
    }
    return Reading{Calendar{calendar.tm_year + 1900, calendar.tm_mon + 1, calendar.tm_mday, hours,
                            minutes, calendar.tm_sec}
                       .sinceEpoch(),
                   fraction};
}

/// The value of so many digits, or a number outside every range that a caller may ask for.
int digits(const char* text, int count) {
    constexpr int kNone = 100'000;
    int value = 0;
    for (int i = 0; i < count; ++i) {
        const int digit = text[i] - '0';
        if (digit < 0 || digit > 9) {
            return kNone;
        }
        value = value * 10 + digit;
    }
    return value;
}

/// Takes "." and one to fifteen digits off the text; false when it begins with another fraction.
/// Up to fifteen digits and their power of ten are exact as doubles, so that the quotient is
/// rounded once, as `strtod` rounds.
bool takeUsualFraction(std::string_view& text, Fraction& fraction) {
    constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                       1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    if (!text.starts_with('.')) {
        return true;
    }
    std::int64_t value = 0;
    std::size_t end = 1;
    for (; end < text.size() && text[end] >= '0' && text[end] <= '9'; ++end) {
        if (end == std::size(kPowersOfTen)) {
            return false;
        }
        value = value * 10 + (text[end] - '0');
    }
    fraction = {static_cast<double>(value) / kPowersOfTen[end - 1], true, true};
    text.remove_prefix(end);
    return end != 1;
}

/// "2023-11-14T22:13:20", a fraction, and nothing, "Z" and anything, or "+01:30": the forms that
/// programs write, every field within its range. Everything else is empty here and left to the
/// lenient reader, which gives the same results for these forms at a twentieth of the speed.
std::optional<Reading> readUsualForm(std::string_view text) {
    constexpr std::size_t kLength = 19;
    if (text.size() < kLength || text[4] != '-' || text[7] != '-' || text[10] != 'T' ||
        text[13] != ':' || text[16] != ':') {
        return std::nullopt;
    }
    Calendar calendar{digits(&text[0], 4),  digits(&text[5], 2),  digits(&text[8], 2),
                      digits(&text[11], 2), digits(&text[14], 2), digits(&text[17], 2)};
    if (calendar.year > 9999 || calendar.month < 1 || calendar.month > 12 || calendar.day < 1 ||
        calendar.day > 31 || calendar.hours > 23 || calendar.minutes > 59 ||
        calendar.seconds > 59) {
        return std::nullopt;
    }
    text.remove_prefix(kLength);
    Fraction fraction;
    if (!takeUsualFraction(text, fraction)) {
        return std::nullopt;
    }
    if (!text.empty() && text[0] != 'Z') {
        if (text.size() != 6 || (text[0] != '+' && text[0] != '-') || text[3] != ':') {
            return std::nullopt;
        }
        const int hours = digits(&text[1], 2);
        const int minutes = digits(&text[4], 2);
        if (hours > 99 || minutes > 99) {
            return std::nullopt;
        }
        const int direction = text[0] == '+' ? -1 : 1;
        calendar.hours += direction * hours;
        calendar.minutes += direction * minutes;
    }
    return Reading{calendar.sinceEpoch(), fraction};
}

}  // namespace

bool UnixTime::parseIso8601(const std::string& text) {
    if (text == "undefined") {
        seconds_ = kUndefined;
        return true;
    }
    if (text == "infinite") {
        seconds_ = kInfinite;
        return true;
    }

    auto reading = readUsualForm(text);
    if (!reading) {
        reading = readLeniently(text);
    }
    if (!reading || reading->whole < 0) {
        return false;
    }
    const double seconds = static_cast<double>(reading->whole) + reading->fraction.value;
    seconds_ = seconds < kInfinite ? seconds : kInfinite;
    highPrecision_ = reading->fraction.present;
    return true;
}

}  // namespace vorn::common::time
