// SPDX-License-Identifier: MIT
#include <cmath>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>

#include <vorn/common/communication/CommunicationStatus.h>

namespace {

using namespace vorn::common::communication;
using vorn::common::time::UnixTime;

TEST(CommunicationStatus, HoldsSinceNowForNoReason) {
    const auto before = UnixTime::nowWithHighPrecision();
    const CommunicationStatus status(ComState::Lost);
    const auto after = UnixTime::nowWithHighPrecision();
    EXPECT_EQ(status.state(), ComState::Lost);
    EXPECT_EQ(status.reason(), Reason::None);
    EXPECT_GE(status.since().seconds(), before.seconds());
    EXPECT_LE(status.since().seconds(), after.seconds());
    EXPECT_TRUE(status.since().highPrecision());
}

TEST(CommunicationStatus, KeepsWhatItIsGiven) {
    const auto since = UnixTime::fromSeconds(12.5, false);
    const CommunicationStatus status(ComState::Error, since, Reason::PingFailed);
    EXPECT_EQ(status.state(), ComState::Error);
    EXPECT_EQ(status.since().seconds(), 12.5);
    EXPECT_FALSE(status.since().highPrecision());
    EXPECT_EQ(status.reason(), Reason::PingFailed);
}

TEST(CommunicationStatus, SettingThePresentValueChangesNothing) {
    CommunicationStatus status(ComState::Ok, UnixTime::fromSeconds(5, false), Reason::PacketLoss);
    EXPECT_FALSE(status.set(ComState::Ok));
    EXPECT_FALSE(status.set(Reason::PacketLoss));
    EXPECT_EQ(status.since().seconds(), 5.0);
    EXPECT_FALSE(status.since().highPrecision());
}

TEST(CommunicationStatus, SettingAnotherValueRenewsTheTime) {
    const auto start = UnixTime::nowWithHighPrecision();
    CommunicationStatus state(ComState::Ok, UnixTime::fromSeconds(5, false), Reason::PacketLoss);
    auto reason = state;

    EXPECT_TRUE(state.set(ComState::Lost));
    EXPECT_EQ(state.state(), ComState::Lost);
    EXPECT_EQ(state.reason(), Reason::PacketLoss);
    EXPECT_GE(state.since().seconds(), start.seconds());
    EXPECT_TRUE(state.since().highPrecision());

    EXPECT_TRUE(reason.set(Reason::PingFailed));
    EXPECT_EQ(reason.state(), ComState::Ok);
    EXPECT_EQ(reason.reason(), Reason::PingFailed);
    EXPECT_GE(reason.since().seconds(), start.seconds());
    EXPECT_TRUE(reason.since().highPrecision());
}

TEST(CommunicationStatus, StateAndReasonCountInComparisons) {
    const auto since = UnixTime::fromSeconds(5);
    const CommunicationStatus status(ComState::Ok, since, Reason::None);
    EXPECT_TRUE(status == CommunicationStatus(ComState::Ok, since, Reason::None));
    EXPECT_FALSE(status != CommunicationStatus(ComState::Ok, since, Reason::None));
    EXPECT_FALSE(status == CommunicationStatus(ComState::Lost, since, Reason::None));
    EXPECT_FALSE(status == CommunicationStatus(ComState::Ok, since, Reason::Unknown));
    EXPECT_TRUE(status !=
                CommunicationStatus(ComState::Ok, UnixTime::fromSeconds(6), Reason::None));
}

TEST(CommunicationStatus, ThePrecisionMarkDoesNotCountInComparisons) {
    EXPECT_TRUE(CommunicationStatus(ComState::Ok, UnixTime::fromSeconds(5, true), Reason::None) ==
                CommunicationStatus(ComState::Ok, UnixTime::fromSeconds(5, false), Reason::None));
}

double next(double value, int steps) {
    const double direction = steps < 0 ? -std::numeric_limits<double>::infinity()
                                       : std::numeric_limits<double>::infinity();
    for (int step = 0; step < std::abs(steps); ++step) {
        value = std::nextafter(value, direction);
    }
    return value;
}

TEST(CommunicationStatus, TimesAreEqualWithinOneEpsilonOfTheLarger) {
    struct Row {
        double left;
        double right;
        bool equal;
    };
    const double infinity = std::numeric_limits<double>::infinity();
    const double tiny = std::numeric_limits<double>::denorm_min();
    const Row rows[] = {
        {0.0, 0.0, true},
        {0.0, -0.0, true},
        {0.0, tiny, false},
        {0.0, 1.0, false},
        {tiny, tiny, true},
        {tiny, 2 * tiny, false},
        {1.0, next(1.0, 1), true},
        {1.0, next(1.0, 2), false},
        {1.0, next(1.0, -1), true},
        {1.0, next(1.0, -2), true},
        {1.0, next(1.0, -3), false},
        {next(1.0, 1), next(1.0, 2), true},
        {next(1.0, 1), next(1.0, 3), false},
        {1.5, next(1.5, 1), true},
        {1.5, next(1.5, 2), false},
        {next(2.0, -1), next(2.0, -2), true},
        {next(2.0, -1), next(2.0, -3), false},
        {1700000000.25, next(1700000000.25, 1), true},
        {1700000000.25, next(1700000000.25, -1), true},
        {1700000000.25, next(1700000000.25, 2), false},
        {1700000000.25, next(1700000000.25, -2), false},
        {1700000000.0, 1700000000.001, false},
        {-1.0, -1.0, true},
        {-1.0, next(-1.0, -1), true},
        {-1.0, next(-1.0, -2), false},
        {-1.0, -2.0, false},
        {-1.0, 1.0, false},
        {4294967295.0, 4294967295.0, true},
        {4294967295.0, next(4294967295.0, 1), true},
        {4294967295.0, 4294967296.0, false},
        {infinity, 1.0, false},
        {infinity, -infinity, false},
    };
    for (const auto& row : rows) {
        const CommunicationStatus left(ComState::Ok, UnixTime::fromSeconds(row.left), Reason::None);
        const CommunicationStatus right(ComState::Ok, UnixTime::fromSeconds(row.right),
                                        Reason::None);
        SCOPED_TRACE(testing::Message() << std::hexfloat << row.left << " and " << row.right);
        EXPECT_EQ(left == right, row.equal);
        EXPECT_EQ(right == left, row.equal);
        EXPECT_EQ(left != right, !row.equal);
    }
}

TEST(CommunicationStatus, AnIeeeInfinityIsNotEqualToItself) {
    const CommunicationStatus status(
        ComState::Ok, UnixTime::fromSeconds(std::numeric_limits<double>::infinity()), Reason::None);
    EXPECT_FALSE(status == status);
    const CommunicationStatus canonical(ComState::Ok, UnixTime::INFINITE, Reason::None);
    EXPECT_TRUE(canonical == canonical);
}

TEST(CommunicationStatus, PrintsFourLinesAndNoLastLineEnd) {
    std::ostringstream out;
    out << CommunicationStatus(ComState::NoContact, UnixTime::fromSeconds(1700000000.25),
                               Reason::PingFailed);
    EXPECT_EQ(out.str(),
              "communication status:\n"
              "\t\tstate = no contact\n"
              "\t\tsince = 2023-11-14T22:13:20.250Z (1700000000.250000000)\n"
              "\t\treason = ping failed");
}

TEST(CommunicationStatus, PrintsUndefinedValuesAsSuch) {
    std::ostringstream out;
    out << CommunicationStatus(ComState(8), UnixTime::UNDEFINED, Reason(31));
    EXPECT_EQ(out.str(),
              "communication status:\n"
              "\t\tstate = undefined\n"
              "\t\tsince = undefined (-1.000000000)\n"
              "\t\treason = undefined");
}

}  // namespace
