// SPDX-License-Identifier: MIT
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>

#include <gtest/gtest.h>

#include <vorn/common/time/UnixTime.h>

namespace {

using vorn::common::time::UnixTime;

constexpr double kHuge = std::numeric_limits<double>::infinity();

struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

/// Makes the global locale of C++ a comma locale for as long as it lives.
class CommaLocale {
  public:
    CommaLocale() : previous_(std::locale::global(std::locale(std::locale(), new Comma))) {}
    ~CommaLocale() { std::locale::global(previous_); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

  private:
    std::locale previous_;
};

struct Row {
    double seconds;
    bool precise;
    const char* text;
};

constexpr Row kRows[] = {
    {-1.0, true, "undefined"},
    {-0.001, false, "undefined"},
    {4294967295.0, true, "infinite"},
    {1e300, false, "infinite"},
    {0.0, false, "1970-01-01T00:00:00Z"},
    {0.0, true, "1970-01-01T00:00:00.000Z"},
    {-0.0, true, "1970-01-01T00:00:00.000Z"},
    {1.5, true, "1970-01-01T00:00:01.500Z"},
    {1.5, false, "1970-01-01T00:00:01Z"},
    {1.0625, true, "1970-01-01T00:00:01.063Z"},
    {0.0004, true, "1970-01-01T00:00:00.000Z"},
    {0.007, true, "1970-01-01T00:00:00.007Z"},
    {951782399.0, false, "2000-02-28T23:59:59Z"},
    {951782400.0, false, "2000-02-29T00:00:00Z"},
    {1582977600.0, false, "2020-02-29T12:00:00Z"},
    {1700000000.25, true, "2023-11-14T22:13:20.250Z"},
    {2147483647.0, false, "2038-01-19T03:14:07Z"},
    {2147483648.0, false, "2038-01-19T03:14:08Z"},
    {4107542399.0, false, "2100-02-28T23:59:59Z"},
    {4107542400.0, false, "2100-03-01T00:00:00Z"},
    {4294967294.0, false, "2106-02-07T06:28:14Z"},
    {4294967294.5, true, "2106-02-07T06:28:14.500Z"},
};

TEST(UnixTimeText, Iso8601) {
    for (const Row& row : kRows) {
        EXPECT_EQ(UnixTime::fromSeconds(row.seconds, row.precise).toIso8601(), row.text);
    }
}

TEST(UnixTimeText, Iso8601IgnoresTheGlobalLocale) {
    const CommaLocale comma;
    EXPECT_EQ(UnixTime::fromSeconds(1700000000.25).toIso8601(), "2023-11-14T22:13:20.250Z");
}

// Deliberate: milliseconds of 1000 are written as such.
TEST(UnixTimeText, MillisecondsDoNotCarry) {
    EXPECT_EQ(UnixTime::fromSeconds(5.9996).toIso8601(), "1970-01-01T00:00:05.1000Z");
    EXPECT_EQ(UnixTime::fromSeconds(5.9995).toIso8601(), "1970-01-01T00:00:05.1000Z");
    EXPECT_EQ(UnixTime::fromSeconds(5.9994).toIso8601(), "1970-01-01T00:00:05.999Z");
}

TEST(UnixTimeText, StreamShowsTheSecondsToo) {
    struct Streamed {
        double seconds;
        bool precise;
        const char* text;
    };
    for (const Streamed& row :
         {Streamed{1700000000.25, true, "2023-11-14T22:13:20.250Z (1700000000.250000000)"},
          Streamed{0.0, false, "1970-01-01T00:00:00Z (0.000000000)"},
          Streamed{-1.0, true, "undefined (-1.000000000)"},
          Streamed{4294967295.0, true, "infinite (4294967295.000000000)"},
          Streamed{kHuge, true, "infinite (0000000inf)"},
          Streamed{0.0000000005, true, "1970-01-01T00:00:00.000Z (0.000000001)"}}) {
        std::ostringstream stream;
        stream << UnixTime::fromSeconds(row.seconds, row.precise);
        EXPECT_EQ(stream.str(), row.text);
    }
}

TEST(UnixTimeText, StreamWritesTheLargestDouble) {
    std::ostringstream stream;
    stream << UnixTime::fromSeconds(std::numeric_limits<double>::max());
    EXPECT_EQ(stream.str().size(), std::string("infinite ()").size() + 309 + 10);
}

TEST(UnixTimeText, StreamKeepsTheCallersFormat) {
    const CommaLocale comma;
    std::ostringstream stream;
    stream << std::hex << std::scientific << std::showpos << std::left << std::setfill('*')
           << std::setprecision(3) << std::setw(60);
    const auto flags = stream.flags();
    stream << UnixTime::fromSeconds(1700000000.25);
    EXPECT_EQ(stream.str(), "2023-11-14T22:13:20.250Z (1700000000.250000000)");
    EXPECT_EQ(stream.flags(), flags);
    EXPECT_EQ(stream.fill(), '*');
    EXPECT_EQ(stream.precision(), 3);
    EXPECT_EQ(stream.width(), 60);
}

}  // namespace
