#pragma once

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/time/SecondsDuration.h>
#include <string>
#include <variant>

namespace gateway {

/// "run": a shell script in the background. The service has given it its uuid.
struct RunRequest {
    vorn::common::Script script;
    vorn::common::time::SecondsDuration timeout;
};

/// "status": how the service is.
struct StatusRequest {};

using Request = std::variant<RunRequest, StatusRequest>;

/// Reads one line. Throws `RequestError` (see RequestFields.h) naming what is wrong with it.
/// `longestTimeout` bounds the time-outs, in seconds.
[[nodiscard]] Request parseRequest(const std::string& line, unsigned longestTimeout);

}  // namespace gateway
