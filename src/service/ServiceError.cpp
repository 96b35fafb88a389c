// SPDX-License-Identifier: MIT
#include "vorn/common/service/ServiceError.h"

#include <utility>

namespace vorn::common::service {

ServiceError::ServiceError(std::string message) : message_(std::move(message)) {}

const char* ServiceError::what() const noexcept {
    return message_.c_str();
}

}  // namespace vorn::common::service
