#pragma once

#include "Configuration.h"

namespace gateway {

/// Makes the directory of the socket when it is missing and, as root, hands a directory that was
/// made here to the configured user, then becomes that user, keeping the configured capabilities.
/// An existing directory keeps its owner. Without root, or without a configured identity, the
/// process stays who it is and says so on the standard error stream.
///
/// Call it before any thread exists: an identity belongs to a thread. Throws
/// `vorn::common::service::ServiceError`, `std::runtime_error` or `std::system_error`; the process
/// must then end, because the change may be half made.
void takeIdentity(const Configuration& configuration);

}  // namespace gateway
