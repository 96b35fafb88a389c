// SPDX-License-Identifier: MIT
#include <cerrno>
#include <chrono>
#include <ctime>
#include <iomanip>
#include <locale>
#include <random>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/time/UnixTime.h>

namespace {

using vorn::common::time::UnixTime;

constexpr double kNoon = 1582977600.0;  // 2020-02-29T12:00:00Z

struct Accepted {
    std::string text;
    double seconds;
    bool precise;
};

void expectAccepted(const Accepted& row) {
    for (const bool before : {true, false}) {
        auto time = UnixTime::fromSeconds(42.0, before);
        EXPECT_TRUE(time.parseIso8601(row.text)) << row.text;
        EXPECT_EQ(time.seconds(), row.seconds) << row.text;
        EXPECT_EQ(time.highPrecision(), row.precise) << row.text;
    }
}

void expectRefused(const std::string& text) {
    for (const bool precise : {true, false}) {
        auto time = UnixTime::fromSeconds(42.25, precise);
        EXPECT_FALSE(time.parseIso8601(text)) << text;
        EXPECT_EQ(time.seconds(), 42.25) << text;
        EXPECT_EQ(time.highPrecision(), precise) << text;
    }
}

std::string noon(const std::string& rest) {
    return "2020-02-29T12:00:00" + rest;
}

TEST(UnixTimeParse, WordsKeepThePrecision) {
    for (const bool precise : {true, false}) {
        auto time = UnixTime::fromSeconds(42.0, precise);
        EXPECT_TRUE(time.parseIso8601("undefined"));
        EXPECT_EQ(time.seconds(), -1.0);
        EXPECT_EQ(time.highPrecision(), precise);
        EXPECT_TRUE(time.parseIso8601("infinite"));
        EXPECT_EQ(time.seconds(), 4294967295.0);
        EXPECT_EQ(time.highPrecision(), precise);
    }
    for (const char* text :
         {"INFINITE", "Undefined", "infinite ", " undefined", "undefinedZ", ""}) {
        expectRefused(text);
    }
}

TEST(UnixTimeParse, DatesAndTimes) {
    for (const auto& [text, seconds] : {
             std::pair{"1970-01-01T00:00:00Z", 0.0},
             {"1970-01-01T00:00:01Z", 1.0},
             {"2000-02-29T00:00:00Z", 951782400.0},
             {"2038-01-19T03:14:07Z", 2147483647.0},
             {"2038-01-19T03:14:08Z", 2147483648.0},
             {"2100-03-01T00:00:00Z", 4107542400.0},
             {"2106-02-07T06:28:14Z", 4294967294.0},
             {"2020-02-29t12:00:00Z", kNoon},
         }) {
        expectAccepted({text, seconds, false});
    }
}

TEST(UnixTimeParse, InstantsPast2106AreInfinite) {
    for (const auto& [text, precise] : {
             std::pair{"2106-02-07T06:28:15Z", false},
             {"2106-02-07T06:28:14.99999999Z", true},
             {"2500-01-01T00:00:00Z", false},
             {"9999-12-31T23:59:59.5Z", true},
             {"1970-01-01T00:00:00+-2147483647", false},
             {"1970-01-01T00:00:00+00:-2147483647", false},
         }) {
        expectAccepted({text, 4294967295.0, precise});
    }
}

// Deliberate: a day past the end of its month runs on into the next one.
TEST(UnixTimeParse, DaysRunOnIntoTheNextMonth) {
    expectAccepted({"2021-02-29T12:00:00Z", 1614600000.0, false});
    expectAccepted({"2021-02-31T12:00:00Z", 1614772800.0, false});
    expectAccepted({"2016-12-31T23:59:60Z", 1483228800.0, false});
}

TEST(UnixTimeParse, Zones) {
    for (const auto& [rest, seconds] : {
             std::pair{"", kNoon},
             {" ", kNoon},
             {"Z", kNoon},
             {" Z", kNoon},
             {"\t\n Z", kNoon},
             {"Zebra", kNoon},
             {"Z+01:00", kNoon},
             {"+01", kNoon - 3600},
             {"+1", kNoon - 3600},
             {"+01:30", kNoon - 5400},
             {" +01:30", kNoon - 5400},
             {"+ 01:30", kNoon - 5400},
             {"+01: 30", kNoon - 5400},
             {"+01 :30", kNoon - 3600},
             {"+01:30 and more", kNoon - 5400},
             {"+01,30", kNoon - 3600},
             {"-01:30", kNoon + 5400},
             {"-05", kNoon + 18000},
             {"+99:99", kNoon - 99 * 3660},
             {"-99:99", kNoon + 99 * 3660},
             {"+-01:30", kNoon + 3600 - 1800},
             {"++01", kNoon - 3600},
             {"--01", kNoon - 3600},
             {"+01:-30", kNoon - 3600 + 1800},
             {"+-0100", kNoon + 360000},
             {"-00:00", kNoon},
             {"+0x10", kNoon},
         }) {
        expectAccepted({noon(rest), seconds, false});
    }
    expectAccepted({" 2020-02-29T12:00:00 Z", kNoon, false});
    expectAccepted({"\n\t 2020-02-29T12:00:00+00:01", kNoon - 60, false});
}

TEST(UnixTimeParse, Refusals) {
    for (const char* rest : {"z",
                             "z+01",
                             "A",
                             "+",
                             "-",
                             "+Z",
                             "+:30",
                             "+0100",
                             "+100",
                             "+01:100",
                             "+01:",
                             "+01:x",
                             "+100:00",
                             "+99999999999",
                             "+-99999999999",
                             "+01:99999999999",
                             "+x:30",
                             "+-2147483648",
                             "+00:-2147483648",
                             "--2147483648",
                             "--2147483647",
                             ".-",
                             ".5x",
                             ".5 x",
                             ",5Z"}) {
        expectRefused(noon(rest));
    }
    for (const char* text :
         {"1969-12-31T23:59:59Z", "1970-01-01T00:30:00+01:00", "1970-01-01T00:00:00+00:01",
          "0000-01-01T00:00:00Z", "2020-02-29 12:00:00Z", "2020-13-01T00:00:00Z",
          "2020-00-01T00:00:00Z", "2020-01-32T00:00:00Z", "2020-01-01T24:00:00Z",
          "2020-01-01T00:60:00Z", "2020/01/01T00:00:00Z", "text", "T", "Z", "   ", "-1", "1e9"}) {
        expectRefused(text);
    }
    expectRefused(std::string("2020-02-29T12:00:00\0", 20));
}

// Deliberate: the date and time are read with the leniency of the standard library.
TEST(UnixTimeParse, TruncatedTextsAreReadAsTheStandardLibraryDoes) {
    const std::string text = "2020-02-29T12:34:56";
    for (std::size_t length = 0; length <= text.size(); ++length) {
        const std::string truncated = text.substr(0, length);
        std::istringstream stream(truncated);
        std::tm calendar{};
        calendar.tm_mday = 1;
        if (stream >> std::get_time(&calendar, "%Y-%m-%dT%H:%M:%S")) {
            const std::chrono::sys_days day =
                std::chrono::year(calendar.tm_year + 1900) /
                std::chrono::month(static_cast<unsigned>(calendar.tm_mon + 1)) / calendar.tm_mday;
            const auto expected = day.time_since_epoch() + std::chrono::hours(calendar.tm_hour) +
                                  std::chrono::minutes(calendar.tm_min) +
                                  std::chrono::seconds(calendar.tm_sec);
            if (expected.count() < 0) {
                expectRefused(truncated);
            } else {
                expectAccepted({truncated, static_cast<double>(expected.count()), false});
            }
        } else {
            expectRefused(truncated);
        }
    }
}

TEST(UnixTimeParse, Fractions) {
    for (const auto& [rest, fraction] : {
             std::pair{".5Z", 0.5},
             {".5", 0.5},
             {".Z", 0.0},
             {".", 0.0},
             {".000", 0.0},
             {". Z", 0.0},
             {".25 Z", 0.25},
             {".250000000000000000000000000000Z", 0.25},
         }) {
        expectAccepted({noon(rest), kNoon + fraction, true});
    }
    expectAccepted({noon(".5+01:00"), kNoon - 3600 + 0.5, true});
    expectAccepted({noon(".+01"), kNoon - 3600, true});
    expectAccepted({"1970-01-01T00:00:00.1Z", 0.1, true});
    expectAccepted({"1970-01-01T00:00:00.123456789012345678901234567890Z",
                    0.123456789012345678901234567890, true});
    expectAccepted({"1970-01-01T00:00:00.99999999999999999999999Z", 1.0, true});
    expectAccepted({"1970-01-01T00:00:00." + std::string(100000, '0') + "Z", 0.0, true});
    expectAccepted({"1970-01-01T00:00:00.5" + std::string(100000, '0') + "Z", 0.5, true});
}

TEST(UnixTimeParse, FormerErrorNumbersDoNotMatter) {
    errno = ERANGE;
    expectAccepted({noon(".5Z"), kNoon + 0.5, true});
    EXPECT_EQ(errno, ERANGE);
    errno = 0;
}

// Deliberate: a fraction too small for a double is refused with UTC and read as 0 with an offset.
TEST(UnixTimeParse, FractionThatUnderflows) {
    for (const std::size_t length : {312U, 402U, 100002U}) {
        std::string fraction(length, '0');
        fraction.front() = '.';
        fraction.back() = '1';
        errno = 0;
        expectRefused(noon(fraction));
        expectRefused(noon(fraction + "Z"));
        expectAccepted({noon(fraction + "+01:00"), kNoon - 3600, true});
        EXPECT_EQ(errno, 0);
    }
}

TEST(UnixTimeParse, GlobalLocaleChangesNothing) {
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    const std::locale previous = std::locale::global(std::locale(std::locale(), new Comma));
    expectAccepted({noon(".5+01:30"), kNoon - 5400 + 0.5, true});
    expectAccepted({noon("+01.5"), kNoon - 3600, false});
    std::locale::global(previous);
}

TEST(UnixTimeParse, ReadsBackWhatIsWritten) {
    std::mt19937 random(11);
    std::uniform_int_distribution<unsigned> seconds(0, 4294967294U);
    for (int i = 0; i < 5000; ++i) {
        const auto written = UnixTime::fromSeconds(seconds(random), false);
        UnixTime read;
        ASSERT_TRUE(read.parseIso8601(written.toIso8601())) << written;
        ASSERT_EQ(read, written);
        ASSERT_FALSE(read.highPrecision());
    }
}

}  // namespace
