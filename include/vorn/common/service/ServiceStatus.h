// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>

#include <vorn/common/export.h>

namespace vorn::common::service {

/// What a service is doing. The texts are the enumerators' words in lower case, with blanks between
/// them: "unknown", "none", "shutting down", "in test", "in service", ...
enum class OperatingStatus : std::uint32_t {
    Unknown = 0,
    None = 1,
    Servicing = 2,
    Starting = 3,
    Stopping = 4,
    Stopped = 5,
    Aborted = 6,
    Dormant = 7,
    Completed = 8,
    Migrating = 9,
    Immigrating = 10,
    Emigrating = 11,
    Snapshotting = 12,
    ShuttingDown = 13,
    InTest = 14,
    Transitioning = 15,
    InService = 16,
};

/// How well a service does it. A larger value is worse, so severities can be compared; the values
/// step by 5 to leave room between them. The texts follow the same rule ("minor failure").
enum class HealthStatus : std::uint32_t {
    Unknown = 0,
    Ok = 5,
    Warning = 10,
    MinorFailure = 15,
    MajorFailure = 20,
    CriticalFailure = 25,
    NonRecoverableFailure = 30,
};

/// The text of a status; "undefined" for a value that has no enumerator.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(OperatingStatus status);
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(HealthStatus status);

/// The status with exactly this text (case matters, nothing is trimmed); `Unknown` for every other
/// text. Exists for `OperatingStatus` and `HealthStatus` only, so that it can be called unqualified
/// beside other namespaces' functions of this name.
///
///     const auto health = service::fromString<service::HealthStatus>("minor failure");
// Not a requires clause: compilers differ in whether it is part of an exported function's symbol.
template <class Status, std::enable_if_t<std::is_same_v<Status, OperatingStatus> ||
                                             std::is_same_v<Status, HealthStatus>,
                                         int> = 0>
[[nodiscard]] Status fromString(const std::string& text);
template <>
[[nodiscard]] VORN_GW_COMMON_EXPORT OperatingStatus
fromString<OperatingStatus>(const std::string& text);
template <>
[[nodiscard]] VORN_GW_COMMON_EXPORT HealthStatus fromString<HealthStatus>(const std::string& text);

/// What a service reports about itself: two independent values.
///
///     const ServiceStatus status(OperatingStatus::InService, HealthStatus::Ok);
///     status.getJson();  // {"operating":"in service","health":"ok"}
///
/// Threads: a plain value; not safe from several threads at once.
struct VORN_GW_COMMON_EXPORT ServiceStatus {
    OperatingStatus operating = OperatingStatus::Unknown;
    HealthStatus health = HealthStatus::Unknown;

    constexpr ServiceStatus() noexcept = default;
    constexpr ServiceStatus(OperatingStatus operatingStatus, HealthStatus healthStatus) noexcept
        : operating(operatingStatus), health(healthStatus) {}

    /// A one-line JSON object with the members "operating" and "health", in this order, and no
    /// blanks.
    [[nodiscard]] std::string getJson() const;

    friend constexpr bool operator==(const ServiceStatus&, const ServiceStatus&) noexcept = default;
};

/// Writes three lines ("service status:" and one indented by two tabs per value) and flushes.
VORN_GW_COMMON_EXPORT std::ostream& operator<<(std::ostream& out, const ServiceStatus& status);

}  // namespace vorn::common::service
