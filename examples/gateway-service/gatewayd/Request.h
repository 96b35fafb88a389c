#pragma once

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/time/SecondsDuration.h>
#include <chrono>
#include <string>
#include <variant>
#include <vector>

namespace gateway {

/// "run": a shell script in the background. The service has given it its uuid.
struct RunRequest {
    vorn::common::Script script;
    vorn::common::time::SecondsDuration timeout;
};

/// "exec": a program whose output comes back.
struct ExecRequest {
    vorn::common::Uuid uuid;
    std::string description;
    std::vector<std::string> program;  ///< an absolute path and its arguments
    std::vector<std::string> environment;
    std::chrono::milliseconds timeout{};
};

/// "status": how the service is.
struct StatusRequest {};

using Request = std::variant<RunRequest, ExecRequest, StatusRequest>;

/// Reads one line. Throws `RequestError` (see RequestFields.h) naming what is wrong with it.
/// `longestTimeout` bounds the time-outs, in seconds.
[[nodiscard]] Request parseRequest(const std::string& line, unsigned longestTimeout);

}  // namespace gateway
