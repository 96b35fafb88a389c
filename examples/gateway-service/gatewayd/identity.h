#pragma once

#include "Configuration.h"

namespace gateway {

/// Makes the directory of the socket (permissions 0750) when it is missing and, as root, hands a
/// directory that was made here to the configured user, then becomes that user, keeping the
/// configured capabilities. An existing directory keeps its owner and permissions. Without root, or
/// without a configured identity, the process stays who it is; the log says so.
///
/// Who becomes another user gives up the controlling terminal, and keeps its standard output and
/// errors for writing only: the scripts of that user could else put characters into root's shell,
/// or read what root types.
///
/// Call it before any thread exists: an identity belongs to a thread. Throws
/// `vorn::common::service::ServiceError`, `std::runtime_error` or `std::system_error`; the process
/// must then end, because the change may be half made.
void takeIdentity(const Configuration& configuration);

}  // namespace gateway
