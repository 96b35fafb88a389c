// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <limits>
#include <locale>
#include <optional>
#include <sstream>
#include <string>

/// Times' texts made and read step by step, to compare the real ones with.
namespace reference {

struct Time {
    double seconds = -1.0;
    bool highPrecision = true;
};

/// `timegm` without its limits: fields may be out of range.
inline std::int64_t secondsOf(const std::tm& calendar, std::int64_t hours, std::int64_t minutes) {
    using namespace std::chrono;
    const auto month = year(calendar.tm_year + 1900) /
                       std::chrono::month(static_cast<unsigned>(calendar.tm_mon + 1)) / day(1);
    const std::int64_t days = sys_days(month).time_since_epoch().count() + calendar.tm_mday - 1;
    return ((days * 24 + calendar.tm_hour + hours) * 60 + calendar.tm_min + minutes) * 60 +
           calendar.tm_sec;
}

/// Nothing for a text that is refused. `before` tells the precision that a word leaves.
inline std::optional<Time> timeOfText(const std::string& text, const Time& before) {
    if (text == "undefined" || text == "infinite") {
        return Time{text == "undefined" ? -1.0 : 4294967295.0, before.highPrecision};
    }
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    std::tm calendar{};
    calendar.tm_mday = 1;
    stream >> std::get_time(&calendar, "%Y-%m-%dT%H:%M:%S");
    if (stream.fail() || stream.bad()) {
        return std::nullopt;
    }
    double fraction = 0.0;
    bool valid = true;
    const bool precise = stream.peek() == '.';
    if (precise) {
        static_cast<void>(stream.get());
        std::string digits = "0.";
        for (char character = 0; stream.get(character);) {
            if (character < '0' || character > '9') {
                stream.putback(character);
                break;
            }
            digits += character;
        }
        errno = 0;
        fraction = std::strtod(digits.c_str(), nullptr);
        if (errno == ERANGE) {
            fraction = 0.0;
            valid = false;
        }
        errno = 0;
    }
    std::int64_t hours = 0;
    std::int64_t minutes = 0;
    char zone = 0;
    if (!(stream >> zone) || zone == 'Z') {
        if (!valid) {
            return std::nullopt;
        }
    } else if (zone == '+' || zone == '-') {
        int number = 0;
        stream >> number;
        bool accepted = !stream.fail() && number < 100;
        hours = number;
        if (stream.peek() == ':') {
            static_cast<void>(stream.get());
            stream >> number;
            accepted = accepted && !stream.fail() && number < 100;
            minutes = number;
        }
        if (!accepted) {
            return std::nullopt;
        }
        hours = zone == '+' ? -hours : hours;
        minutes = zone == '+' ? -minutes : minutes;
    } else {
        return std::nullopt;
    }
    // What a calendar record of ints cannot hold cannot be converted.
    const auto fits = [](std::int64_t field) {
        return field >= std::numeric_limits<int>::min() && field <= std::numeric_limits<int>::max();
    };
    if (!fits(calendar.tm_hour + hours) || !fits(calendar.tm_min + minutes)) {
        return std::nullopt;
    }
    const std::int64_t whole = secondsOf(calendar, hours, minutes);
    if (whole < 0) {
        return std::nullopt;
    }
    return Time{static_cast<double>(whole) + fraction, precise};
}

inline std::string textOfTime(const Time& time) {
    if (time.seconds < 0) {
        return "undefined";
    }
    if (time.seconds >= 4294967295.0) {
        return "infinite";
    }
    double whole = 0.0;
    const double fraction = std::modf(time.seconds, &whole);
    const std::chrono::sys_seconds instant(std::chrono::seconds(static_cast<std::int64_t>(whole)));
    const auto midnight = std::chrono::floor<std::chrono::days>(instant);
    const std::chrono::year_month_day date(midnight);
    const std::chrono::hh_mm_ss clock(instant - midnight);
    char text[64];
    static_cast<void>(std::snprintf(
        text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count())));
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << text;
    if (time.highPrecision) {
        stream << '.' << std::setw(3) << std::setfill('0')
               << static_cast<unsigned>(std::round(fraction * 1000));
    }
    stream << 'Z';
    return stream.str();
}

}  // namespace reference
