// SPDX-License-Identifier: MIT

// Reports what a service is doing and how well, as text and as JSON.

#include <iostream>

#include <vorn/common/service/ServiceStatus.h>

int main() {
    using namespace vorn::common::service;
    ServiceStatus status;
    std::cout << status.getJson() << '\n';

    status = {OperatingStatus::InService, HealthStatus::Ok};
    std::cout << status << status.getJson() << '\n';

    const auto reported = fromString<HealthStatus>("minor failure");
    if (reported > status.health) {
        status.health = reported;
    }
    std::cout << "health is now \"" << toString(status.health) << "\"\n";
}
