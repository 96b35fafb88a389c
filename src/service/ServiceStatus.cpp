// SPDX-License-Identifier: MIT
#include "vorn/common/service/ServiceStatus.h"

#include "internal/EnumTexts.h"

namespace vorn::common::service {
namespace {

using common::internal::EnumText;

constexpr std::array<EnumText<OperatingStatus>, 17> kOperatingTexts{{
    {OperatingStatus::Unknown, "unknown"},
    {OperatingStatus::None, "none"},
    {OperatingStatus::Servicing, "servicing"},
    {OperatingStatus::Starting, "starting"},
    {OperatingStatus::Stopping, "stopping"},
    {OperatingStatus::Stopped, "stopped"},
    {OperatingStatus::Aborted, "aborted"},
    {OperatingStatus::Dormant, "dormant"},
    {OperatingStatus::Completed, "completed"},
    {OperatingStatus::Migrating, "migrating"},
    {OperatingStatus::Immigrating, "immigrating"},
    {OperatingStatus::Emigrating, "emigrating"},
    {OperatingStatus::Snapshotting, "snapshotting"},
    {OperatingStatus::ShuttingDown, "shutting down"},
    {OperatingStatus::InTest, "in test"},
    {OperatingStatus::Transitioning, "transitioning"},
    {OperatingStatus::InService, "in service"},
}};

constexpr std::array<EnumText<HealthStatus>, 7> kHealthTexts{{
    {HealthStatus::Unknown, "unknown"},
    {HealthStatus::Ok, "ok"},
    {HealthStatus::Warning, "warning"},
    {HealthStatus::MinorFailure, "minor failure"},
    {HealthStatus::MajorFailure, "major failure"},
    {HealthStatus::CriticalFailure, "critical failure"},
    {HealthStatus::NonRecoverableFailure, "non recoverable failure"},
}};

constexpr std::string_view kUndefined = "undefined";

}  // namespace

std::string toString(OperatingStatus status) {
    return textOf(kOperatingTexts, status, kUndefined);
}

std::string toString(HealthStatus status) {
    return textOf(kHealthTexts, status, kUndefined);
}

template <>
OperatingStatus fromString<OperatingStatus>(const std::string& text) {
    return valueOf(kOperatingTexts, text, OperatingStatus::Unknown);
}

template <>
HealthStatus fromString<HealthStatus>(const std::string& text) {
    return valueOf(kHealthTexts, text, HealthStatus::Unknown);
}

std::string ServiceStatus::getJson() const {
    return "{\"operating\":\"" + toString(operating) + "\",\"health\":\"" + toString(health) +
           "\"}";
}

std::ostream& operator<<(std::ostream& out, const ServiceStatus& status) {
    return out << "service status:\n\t\toperating = " << toString(status.operating)
               << "\n\t\thealth    = " << toString(status.health) << std::endl;
}

}  // namespace vorn::common::service
