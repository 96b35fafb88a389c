// SPDX-License-Identifier: MIT
#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/service/ServiceStatus.h>

namespace {

using namespace vorn::common::service;

template <class Status>
struct Row {
    std::uint32_t value;
    Status status;
    const char* text;
};

const Row<OperatingStatus> kOperating[] = {
    {0, OperatingStatus::Unknown, "unknown"},
    {1, OperatingStatus::None, "none"},
    {2, OperatingStatus::Servicing, "servicing"},
    {3, OperatingStatus::Starting, "starting"},
    {4, OperatingStatus::Stopping, "stopping"},
    {5, OperatingStatus::Stopped, "stopped"},
    {6, OperatingStatus::Aborted, "aborted"},
    {7, OperatingStatus::Dormant, "dormant"},
    {8, OperatingStatus::Completed, "completed"},
    {9, OperatingStatus::Migrating, "migrating"},
    {10, OperatingStatus::Immigrating, "immigrating"},
    {11, OperatingStatus::Emigrating, "emigrating"},
    {12, OperatingStatus::Snapshotting, "snapshotting"},
    {13, OperatingStatus::ShuttingDown, "shutting down"},
    {14, OperatingStatus::InTest, "in test"},
    {15, OperatingStatus::Transitioning, "transitioning"},
    {16, OperatingStatus::InService, "in service"},
};

const Row<HealthStatus> kHealth[] = {
    {0, HealthStatus::Unknown, "unknown"},
    {5, HealthStatus::Ok, "ok"},
    {10, HealthStatus::Warning, "warning"},
    {15, HealthStatus::MinorFailure, "minor failure"},
    {20, HealthStatus::MajorFailure, "major failure"},
    {25, HealthStatus::CriticalFailure, "critical failure"},
    {30, HealthStatus::NonRecoverableFailure, "non recoverable failure"},
};

template <class Status, std::size_t N>
void expectTable(const Row<Status> (&rows)[N]) {
    static_assert(std::is_same_v<std::underlying_type_t<Status>, std::uint32_t>);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(static_cast<std::uint32_t>(row.status), row.value);
        EXPECT_EQ(toString(row.status), row.text);
        EXPECT_EQ(fromString<Status>(row.text), row.status);
    }
}

TEST(ServiceStatus, EveryStatusHasItsValueAndText) {
    expectTable(kOperating);
    expectTable(kHealth);
}

TEST(ServiceStatus, AValueOutsideTheTableIsUndefined) {
    for (const std::uint32_t value : {17u, 18u, 4294967295u}) {
        EXPECT_EQ(toString(static_cast<OperatingStatus>(value)), "undefined");
    }
    for (const std::uint32_t value : {1u, 4u, 6u, 7u, 29u, 31u, 35u, 4294967295u}) {
        EXPECT_EQ(toString(static_cast<HealthStatus>(value)), "undefined");
    }
}

TEST(ServiceStatus, AnyOtherTextIsUnknown) {
    using namespace std::string_literals;
    for (const auto& text : {""s, "OK"s, "Ok"s, " ok"s, "ok "s, "ok\0"s, "unknown"s, "undefined"s,
                             "In Service"s, "in  service"s, "in_service"s, "inservice"s}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(fromString<OperatingStatus>(text), OperatingStatus::Unknown);
        EXPECT_EQ(fromString<HealthStatus>(text), HealthStatus::Unknown);
    }
    EXPECT_EQ(fromString<OperatingStatus>("ok"), OperatingStatus::Unknown);
    EXPECT_EQ(fromString<HealthStatus>("in service"), HealthStatus::Unknown);
}

TEST(ServiceStatus, LargerHealthIsWorse) {
    EXPECT_LT(HealthStatus::Ok, HealthStatus::Warning);
    EXPECT_LT(HealthStatus::CriticalFailure, HealthStatus::NonRecoverableFailure);
}

TEST(ServiceStatus, PairsBothValues) {
    constexpr ServiceStatus unknown;
    static_assert(unknown.operating == OperatingStatus::Unknown);
    static_assert(unknown.health == HealthStatus::Unknown);
    constexpr ServiceStatus status(OperatingStatus::Stopping, HealthStatus::Warning);
    static_assert(status.operating == OperatingStatus::Stopping);
    static_assert(status.health == HealthStatus::Warning);
    static_assert(status != unknown);
    static_assert(status == ServiceStatus(OperatingStatus::Stopping, HealthStatus::Warning));
}

TEST(ServiceStatus, RendersAsJson) {
    EXPECT_EQ(ServiceStatus().getJson(), R"({"operating":"unknown","health":"unknown"})");
    EXPECT_EQ(ServiceStatus(OperatingStatus::InService, HealthStatus::Ok).getJson(),
              R"({"operating":"in service","health":"ok"})");
    EXPECT_EQ(
        ServiceStatus(static_cast<OperatingStatus>(17), static_cast<HealthStatus>(7)).getJson(),
        R"({"operating":"undefined","health":"undefined"})");
}

/// Counts flushes.
class FlushCounter : public std::stringbuf {
  public:
    int flushes = 0;

  protected:
    int sync() override {
        ++flushes;
        return 0;
    }
};

TEST(ServiceStatus, IsWrittenAsThreeLinesAndFlushed) {
    FlushCounter buffer;
    std::ostream out(&buffer);
    EXPECT_EQ(&(out << ServiceStatus(OperatingStatus::InTest, HealthStatus::MinorFailure)), &out);
    EXPECT_EQ(buffer.str(),
              "service status:\n\t\toperating = in test\n\t\thealth    = minor failure\n");
    EXPECT_EQ(buffer.flushes, 1);
}

}  // namespace
