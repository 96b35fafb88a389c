// SPDX-License-Identifier: MIT
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/BinderClient.h>
#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/TypedArgs.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/communication/CommunicationStatus.h>
#include <vorn/common/conv/Identification.h>
#include <vorn/common/encoding/UrlEncode.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>
#include <vorn/common/service/ServiceStatus.h>
#include <vorn/common/time/SecondsDuration.h>
#include <vorn/common/time/UnixTime.h>

#include "helpers/CommaLocale.h"
#include "helpers/TempDir.h"

namespace {

using namespace vorn::common;
using lwjson::Deserializer;
using lwjson::Serializer;

/// A decimal comma, and a separator behind every digit.
struct Grouping : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

/// Puts it in force for new streams as long as it lives.
class GroupingLocale {
  public:
    GroupingLocale() : before_(std::locale::global(std::locale(std::locale(), new Grouping))) {}
    ~GroupingLocale() { std::locale::global(before_); }
    GroupingLocale(const GroupingLocale&) = delete;
    GroupingLocale& operator=(const GroupingLocale&) = delete;

  private:
    std::locale before_;
};

template <class Action>
std::string errorOf(Action action) {
    try {
        action();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "no error";
}

std::string manyOnes(int count) {
    std::string text = "[1";
    for (int i = 1; i < count; ++i) {
        text += ",1";
    }
    return text + "]";
}

std::string written(Serializer::Format format) {
    Serializer json(format);
    json.appendKey("numbers");
    json.addValue(std::vector<int>{1234567, -1234567});
    json.appendKey("float");
    json.addValue(1234.5F);
    json.appendKey("double");
    json.addValue(1234567.25, 3);
    json.appendKey("scientific");
    json.addValue(1234567.25);
    json.appendKey("long double");
    json.addValue(1234567.25L);
    json.appendKey("long long");
    json.addValue(123456789012345LL);
    json.appendKey("time");
    json.addValue(UnixTime::fromSeconds(1700000000.25));
    json.appendKey("duration");
    json.addValue(SecondsDuration(1234567));
    json.finalize();
    return json.json();
}

/// Everything that the library makes of numbers, and what it reads from such texts.
std::string allTexts() {
    std::ostringstream out;
    out << written(Serializer::Pretty) << '\n' << written(Serializer::Compact) << '\n';

    std::ostringstream report;
    static_cast<void>(
        Deserializer(manyOnes(1234).c_str()).compare(Deserializer(manyOnes(2345).c_str()), report));
    static_cast<void>(
        Deserializer("{\"a\":1}").compare(Deserializer(manyOnes(1234).c_str()), report));
    out << report.str()
        << errorOf([] { static_cast<void>(Deserializer("\"open")); })  // names a code
        << '\n';

    const UnixTime time = UnixTime::fromSeconds(1700000000.25);
    const SecondsDuration duration(1234567);
    out << time << ' ' << time.toIso8601() << ' ' << duration << '\n';
    out << communication::CommunicationStatus(communication::ComState::Ok, time,
                                              communication::Reason::None)
        << '\n';
    out << service::ServiceStatus(service::OperatingStatus::InService, service::HealthStatus::Ok)
               .getJson()
        << '\n';
    out << BinderClientsList{BinderClient(Uuid::VORN_NAMESPACE, "power")}
        << conv::Identification("u", "v", "m", "s", "p", "n", "i", "1.5", "l", "c") << '\n';
    out << Uuid(Uuid::VORN_NAMESPACE, "1234567.25") << encoding::UrlEncode::encode("1.234,5 \xFF")
        << '\n';

    // The classic locale, so that only the library's own conversions differ.
    std::ostringstream values;
    values.imbue(std::locale::classic());
    const Deserializer numbers("[1234.5,1234.5,1234.5,1234567,1700000000.25,1234567]");
    values << numbers[0].as<double>() << ' ' << numbers[1].as<float>() << ' '
           << numbers[2].as<long double>() << ' ' << numbers[3].as<int>() << ' '
           << numbers[4].as<UnixTime>().seconds() << ' ' << numbers[5].as<SecondsDuration>().count()
           << ' ' << static_cast<unsigned>(Deserializer("1.5").getValueType()) << ' '
           << static_cast<unsigned>(Deserializer("1,5").getValueType()) << ' '
           << GetTypedArgHelper<double>::get("1234.5") << ' '
           << GetTypedArgHelper<double>::get("1234,5") << ' '
           << GetTypedArgHelper<int>::get("1.234") << ' ';
    UnixTime read;
    values << read.parseIso8601("2020-02-29T12:00:00.5+01:30") << read.seconds();
    out << values.str() << '\n';

    const helpers::TempDir directory;
    std::string line = "lib.so";
    for (int i = 0; i < 1200; ++i) {
        line += " a";
    }
    const auto plugins = loadConfigFile(directory.write("a.conf", line));
    out << plugins[0].args.count("arg1199") << ' ' << errorOf([&] {
        static_cast<void>(
            loadConfigFile(directory.write("b.conf", std::string(1233, '\n') + "\"open")));
    }) << '\n';
    return out.str();
}

TEST(Locales, TextsAreTheSameWithACommaInTheCLocale) {
    const std::string expected = allTexts();
    const helpers::CommaLocale comma;
    if (!comma.isInForce()) {
        GTEST_SKIP() << "no locale with a decimal comma can be made here";
    }
    EXPECT_EQ(allTexts(), expected);
}

TEST(Locales, TextsAreTheSameWithGroupedDigitsInTheGlobalLocale) {
    const std::string expected = allTexts();
    const GroupingLocale grouping;
    std::ostringstream shown;
    shown << 1234.5;
    ASSERT_EQ(shown.str(), "1.2.3.4,5") << "the locale is in force";
    EXPECT_EQ(allTexts(), expected);
}

/// What the texts are, in one place: that they are the same everywhere says nothing by itself.
TEST(Locales, TextsHaveNoSeparators) {
    const std::string texts = allTexts();
    for (const char* part : {"1234567,", "1.23450000e+03", "1234567.250", "123456789012345",
                             "array size mismatch: found 2345, expected 1234", "(34)",
                             "(1700000000.250000000)", "2023-11-14T22:13:20.250Z", "1234567s",
                             "Failed to parse line 1234: Missing closing \""}) {
        EXPECT_NE(texts.find(part), std::string::npos) << part;
    }
}

}  // namespace
