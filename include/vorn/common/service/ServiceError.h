// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <string>

#include <vorn/common/export.h>

namespace vorn::common::service {

/// A step of a service function failed; `what()` is the sentence that says which one.
///
///     try {
///         service::setProcessAttributes({"gateway", "gateway", {CAP_NET_ADMIN}}, "");
///     } catch (const service::ServiceError& error) {
///         std::cerr << error.what() << '\n';
///         return 1;
///     }
class VORN_GW_COMMON_EXPORT ServiceError : public std::exception {
  public:
    /// `message` is what what() returns, as it is.
    explicit ServiceError(std::string message);

    /// Lifetime: the text lives as long as this object.
    [[nodiscard]] const char* what() const noexcept override;

  private:
    std::string message_;
};

}  // namespace vorn::common::service
