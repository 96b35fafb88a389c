// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string>

#include <vorn/common/export.h>
#include <vorn/common/time/SecondsDuration.h>

/// Instants, durations and timers.
namespace vorn::common::time {

/// An instant of the wall clock: seconds since 1970-01-01T00:00:00Z as a double, finite up to the
/// year 2106, or one of two special values:
///   - undefined: any negative value; UNDEFINED holds -1.0;
///   - infinite: any value of 4294967295.0 (2^32 - 1) and more; INFINITE holds exactly that.
///
/// A flag tells whether the fraction means anything (`highPrecision`); without it the sub-second
/// parts are 0 and the text has no fraction.
///
///     UnixTime deadline = UnixTime::now();
///     deadline += SecondsDuration(90);
///     log << deadline.toIso8601();                    // "2023-11-14T22:14:50Z"
///
/// For std::chrono: `fromSeconds` of a `duration<double>` since the system clock's epoch, and back
/// by seconds() (docs/time.md shows both).
///
/// Nothing here throws for bad data: arithmetic saturates, and parsing reports by its result.
/// A plain value without resources; whatever is constexpr below works in constant expressions, and
/// the two constants can be used from the static initialisers of other files.
/// Threads: like a double; unsynchronised writes need a lock of the caller's.
class UnixTime {
  public:
    static const UnixTime UNDEFINED;  ///< -1.0, high precision
    static const UnixTime INFINITE;   ///< 4294967295.0, high precision

    /// Undefined.
    constexpr UnixTime() noexcept = default;

    /// From a count of seconds and nanoseconds, with high precision. 4294967295 seconds are
    /// infinite, whatever the nanoseconds; otherwise more than 999999999 nanoseconds give an
    /// undefined time. Deliberate: the sum is rounded downward (the caller's rounding mode is
    /// restored), so that an instant is never later than what was given.
    VORN_GW_COMMON_EXPORT UnixTime(unsigned int seconds, unsigned int nanoSeconds) noexcept;

    /// Keeps the value as it is given, beyond the canonical special values too; NaN becomes -1.0.
    [[nodiscard]] static constexpr UnixTime fromSeconds(double seconds,
                                                        bool highPrecision = true) noexcept {
        return UnixTime(Raw{}, seconds == seconds ? seconds : kUndefined, highPrecision);
    }

    /// Reads the wall clock in whole seconds, without high precision. Right behind January 2038
    /// too, where `std::chrono::system_clock::now` is not with a time_t of 32 bits.
    [[nodiscard]] VORN_GW_COMMON_EXPORT static UnixTime now() noexcept;
    /// Reads the wall clock with its fraction (a double resolves about 0.24 microseconds today).
    [[nodiscard]] VORN_GW_COMMON_EXPORT static UnixTime nowWithHighPrecision() noexcept;

    /// As stored, the fraction too without high precision; -1.0 may be any negative number.
    [[nodiscard]] constexpr double seconds() const noexcept { return seconds_; }
    /// Whether the fraction means anything.
    [[nodiscard]] constexpr bool highPrecision() const noexcept { return highPrecision_; }
    /// Any negative number of seconds, not -1.0 alone.
    [[nodiscard]] constexpr bool isUndefined() const noexcept { return seconds_ < 0.0; }
    /// Any number of seconds of 4294967295.0 and more.
    [[nodiscard]] constexpr bool isInfinite() const noexcept { return seconds_ >= kInfinite; }

    /// Moves the instant; `highPrecision` stays. Undefined and infinite times do not move.
    /// `+=` gives the infinite time when the whole seconds would reach 4294967295.
    /// Deliberate: `-=` stops at the epoch (0.0), it never gives an undefined time; subtracting the
    /// infinite duration gives the epoch too.
    /// @{
    constexpr UnixTime& operator+=(const SecondsDuration& duration) noexcept;
    constexpr UnixTime& operator-=(const SecondsDuration& duration) noexcept;
    /// @}

    /// Drops the fraction (toward zero) and `highPrecision`.
    constexpr UnixTime& trunc() noexcept;

    /// Whole seconds, toward zero: 4294967295 when infinite, 0 when undefined.
    [[nodiscard]] constexpr unsigned int toIntegralType() const noexcept;

    /// The sub-second part in that unit: the largest value of the unit (999, 999999, 999999999)
    /// when infinite, 0 when undefined or without high precision, otherwise truncated. Deliberate:
    /// nanoSeconds() is rounded to whole microseconds, so it ends in three zeros (0.123456789 gives
    /// 123457000) and is 999999000 at most.
    /// @{
    [[nodiscard]] constexpr unsigned int milliSeconds() const noexcept;
    [[nodiscard]] constexpr unsigned int microSeconds() const noexcept;
    [[nodiscard]] constexpr unsigned int nanoSeconds() const noexcept;
    /// @}

    /// Writes "1970-01-01T00:00:00Z", with high precision "1970-01-01T00:00:01.500Z", or the words
    /// "undefined" and "infinite". Right until 2106 where time_t has 32 bits too.
    /// Deliberate: milliseconds are rounded to nearest without a carry into the seconds, so that a
    /// fraction of 0.9995 and more is written ".1000" (four digits), while milliSeconds()
    /// truncates.
    [[nodiscard]] VORN_GW_COMMON_EXPORT std::string toIso8601() const;

    /// Reads a text of that form: date and time, an optional fraction of any length, and an
    /// optional zone: "Z", "+01", "-1", "+01:30"; none means UTC. Leading white space and white
    /// space before the zone are skipped; what follows the zone is ignored. Returns false and
    /// changes nothing when the text is not of that form, names an instant before 1970, or has an
    /// unacceptable offset (hours or minutes of 100 and more, "+0100" among them). Results of
    /// 4294967295 and more become infinite. A fraction gives high precision, no fraction takes it
    /// away; the words "undefined" and "infinite" leave it as it is. Deliberate: date and time are
    /// read by the standard library's std::get_time (classic locale), with whatever leniency it
    /// has; a day past the end of its month runs on into the next one; a fraction too small for a
    /// double is refused with UTC and read as 0 with an offset.
    VORN_GW_COMMON_EXPORT bool parseIso8601(const std::string& text);

    /// Compare the seconds alone, not the precision.
    /// @{
    friend constexpr bool operator==(const UnixTime& left, const UnixTime& right) noexcept {
        return left.seconds_ == right.seconds_;
    }
    friend constexpr std::partial_ordering operator<=>(const UnixTime& left,
                                                       const UnixTime& right) noexcept {
        return left.seconds_ <=> right.seconds_;
    }
    /// @}

  private:
    struct Raw {};
    static constexpr double kUndefined = -1.0;
    static constexpr double kInfinite = 4294967295.0;

    constexpr UnixTime(Raw, double seconds, bool highPrecision) noexcept
        : seconds_(seconds), highPrecision_(highPrecision) {}

    [[nodiscard]] constexpr double fraction() const noexcept;
    [[nodiscard]] constexpr bool hasFraction() const noexcept {
        return highPrecision_ && !isUndefined();
    }

    double seconds_ = kUndefined;
    bool highPrecision_ = true;
};

/// Writes toIso8601() and the seconds with nine decimals in parentheses:
/// "2023-11-14T22:13:20.250Z (1700000000.250000000)". The stream's width, fill, precision, flags
/// and locale neither change the text nor are changed.
VORN_GW_COMMON_EXPORT std::ostream& operator<<(std::ostream& stream, const UnixTime& time);

inline constexpr UnixTime UnixTime::UNDEFINED{Raw{}, kUndefined, true};
inline constexpr UnixTime UnixTime::INFINITE{Raw{}, kInfinite, true};

constexpr UnixTime& UnixTime::operator+=(const SecondsDuration& duration) noexcept {
    if (!isUndefined() && !isInfinite()) {
        const std::uint32_t room = SecondsDuration::INFINITE.count() - duration.count();
        const bool fits = !duration.isInfinite() && room > toIntegralType();
        seconds_ = fits ? seconds_ + duration.count() : kInfinite;
    }
    return *this;
}

constexpr UnixTime& UnixTime::operator-=(const SecondsDuration& duration) noexcept {
    if (!isUndefined() && !isInfinite()) {
        const bool fits = !duration.isInfinite() && duration.count() < seconds_;
        seconds_ = fits ? seconds_ - duration.count() : 0.0;
    }
    return *this;
}

constexpr UnixTime& UnixTime::trunc() noexcept {
    constexpr double kAllWhole = 9007199254740992.0;
    if (seconds_ > -kAllWhole && seconds_ < kAllWhole) {
        seconds_ = static_cast<double>(static_cast<std::int64_t>(seconds_));
    }
    highPrecision_ = false;
    return *this;
}

constexpr unsigned int UnixTime::toIntegralType() const noexcept {
    if (isInfinite()) {
        return std::numeric_limits<std::uint32_t>::max();
    }
    return isUndefined() ? 0 : static_cast<std::uint32_t>(seconds_);
}

constexpr double UnixTime::fraction() const noexcept {
    return hasFraction() ? seconds_ - toIntegralType() : 0.0;
}

constexpr unsigned int UnixTime::milliSeconds() const noexcept {
    return isInfinite() ? 999 : static_cast<unsigned int>(fraction() * 1e3);
}

constexpr unsigned int UnixTime::microSeconds() const noexcept {
    return isInfinite() ? 999999 : static_cast<unsigned int>(fraction() * 1e6);
}

constexpr unsigned int UnixTime::nanoSeconds() const noexcept {
    if (isInfinite()) {
        return 999999999;
    }
    const double scaled = fraction() * 1e6;
    const auto whole = static_cast<unsigned int>(scaled);
    const unsigned int rounded = scaled >= whole + 0.5 ? whole + 1 : whole;
    return rounded > 999999 ? 999999000 : rounded * 1000;
}

}  // namespace vorn::common::time

namespace vorn::common {
using time::UnixTime;
}  // namespace vorn::common
