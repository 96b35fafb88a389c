// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>

#include <vorn/common/export.h>

/// The identity of a service, and what it reports of itself.
namespace vorn::common::service {

/// What a service is doing; beside each enumerator its text.
enum class OperatingStatus : std::uint32_t {
    Unknown = 0,         ///< "unknown"
    None = 1,            ///< "none"
    Servicing = 2,       ///< "servicing"
    Starting = 3,        ///< "starting"
    Stopping = 4,        ///< "stopping"
    Stopped = 5,         ///< "stopped"
    Aborted = 6,         ///< "aborted"
    Dormant = 7,         ///< "dormant"
    Completed = 8,       ///< "completed"
    Migrating = 9,       ///< "migrating"
    Immigrating = 10,    ///< "immigrating"
    Emigrating = 11,     ///< "emigrating"
    Snapshotting = 12,   ///< "snapshotting"
    ShuttingDown = 13,   ///< "shutting down"
    InTest = 14,         ///< "in test"
    Transitioning = 15,  ///< "transitioning"
    InService = 16,      ///< "in service"
};

/// How well a service does it. A larger value is worse, so severities can be compared; the values
/// step by 5 to leave room between them. Beside each enumerator its text.
enum class HealthStatus : std::uint32_t {
    Unknown = 0,                 ///< "unknown"
    Ok = 5,                      ///< "ok"
    Warning = 10,                ///< "warning"
    MinorFailure = 15,           ///< "minor failure"
    MajorFailure = 20,           ///< "major failure"
    CriticalFailure = 25,        ///< "critical failure"
    NonRecoverableFailure = 30,  ///< "non recoverable failure"
};

/// The text of a status; "undefined" for a value that has no enumerator.
/// @{
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(OperatingStatus status);
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(HealthStatus status);
/// @}

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
/// @cond
template <>
[[nodiscard]] VORN_GW_COMMON_EXPORT OperatingStatus
fromString<OperatingStatus>(const std::string& text);
template <>
[[nodiscard]] VORN_GW_COMMON_EXPORT HealthStatus fromString<HealthStatus>(const std::string& text);
/// @endcond

/// What a service reports about itself: two independent values.
///
///     const ServiceStatus status(OperatingStatus::InService, HealthStatus::Ok);
///     status.getJson();  // {"operating":"in service","health":"ok"}
///
/// Threads: a plain value; not safe from several threads at once.
struct VORN_GW_COMMON_EXPORT ServiceStatus {
    OperatingStatus operating = OperatingStatus::Unknown;  ///< the first value
    HealthStatus health = HealthStatus::Unknown;           ///< the second; neither limits the other

    constexpr ServiceStatus() noexcept = default;
    /// Any pair is accepted.
    constexpr ServiceStatus(OperatingStatus operatingStatus, HealthStatus healthStatus) noexcept
        : operating(operatingStatus), health(healthStatus) {}

    /// A one-line JSON object with the members "operating" and "health", in this order, and no
    /// blanks.
    [[nodiscard]] std::string getJson() const;

    /// Equal when both values are.
    friend constexpr bool operator==(const ServiceStatus&, const ServiceStatus&) noexcept = default;
};

/// Writes three lines ("service status:" and one indented by two tabs per value) and flushes.
VORN_GW_COMMON_EXPORT std::ostream& operator<<(std::ostream& out, const ServiceStatus& status);

}  // namespace vorn::common::service
