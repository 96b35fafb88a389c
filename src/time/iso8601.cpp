#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <limits>
#include <locale>
#include <optional>
#include <sstream>

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

/// The calendar record as UTC; days, hours and minutes may be out of their ranges.
std::int64_t secondsSinceEpoch(const std::tm& calendar, std::int64_t hours, std::int64_t minutes) {
    const auto year = std::chrono::year(calendar.tm_year + 1900);
    const auto month = std::chrono::month(static_cast<unsigned int>(calendar.tm_mon + 1));
    const std::chrono::sys_days firstOfMonth = year / month / 1;
    const std::int64_t days = firstOfMonth.time_since_epoch().count() + calendar.tm_mday - 1;
    return ((days * 24 + hours) * 60 + minutes) * 60 + calendar.tm_sec;
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

    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    std::tm calendar{};
    calendar.tm_mday = 1;
    if (!(stream >> std::get_time(&calendar, "%Y-%m-%dT%H:%M:%S"))) {
        return false;
    }
    const Fraction fraction = readFraction(stream);

    char zone = 'Z';
    Offset offset;
    if (!(stream >> zone) || zone == 'Z') {
        if (!fraction.valid) {
            return false;
        }
    } else if (zone == '+' || zone == '-') {
        const auto accepted = readOffset(stream, zone);
        if (!accepted) {
            return false;
        }
        offset = *accepted;
    } else {
        return false;
    }

    const std::int64_t hours = calendar.tm_hour + offset.hours;
    const std::int64_t minutes = calendar.tm_min + offset.minutes;
    if (!fitsCalendarField(hours) || !fitsCalendarField(minutes)) {
        return false;
    }
    const std::int64_t whole = secondsSinceEpoch(calendar, hours, minutes);
    if (whole < 0) {
        return false;
    }
    const double seconds = static_cast<double>(whole) + fraction.value;
    seconds_ = seconds < kInfinite ? seconds : kInfinite;
    highPrecision_ = fraction.present;
    return true;
}

}  // namespace vorn::common::time
