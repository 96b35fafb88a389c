// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>
#include <variant>
#include <vector>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/time/SecondsDuration.h>

namespace gateway {

/// "run": a shell script in the background. The service has given it its uuid.
struct RunRequest {
    vorn::common::Script script;
    vorn::common::time::SecondsDuration timeout;
    bool withSecret = false;  ///< its environment gets the service's secret
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

/// "settings": what may be changed, and what is counted.
struct SettingsRequest {};

/// "set": a new value for a setting.
struct SetRequest {
    enum class Name { Heartbeat, JobLimit, Secret };
    Name name;
    unsigned value = 0;
    std::string secret{};  ///< empty: none any more
};

/// "bind": the client on this connection is to be known to the service while it lasts.
struct BindRequest {
    vorn::common::Uuid client;
    std::string interface;
};

/// "unbind": the end of that.
struct UnbindRequest {};

/// "cancel": the end of a running job.
struct CancelRequest {
    std::string uuid;
};

/// "result": how a job ended, asked for after its end.
struct ResultRequest {
    std::string uuid;
};

/// What bounds the numbers in a request.
struct RequestLimits {
    unsigned longestTimeout;  ///< seconds
    unsigned jobLimit;        ///< the most that the setting may be
};

using Request = std::variant<RunRequest, ExecRequest, StatusRequest, SettingsRequest, SetRequest,
                             BindRequest, UnbindRequest, CancelRequest, ResultRequest>;

/// Reads one line. Throws `FieldError` (see JsonFields.h) naming what is wrong with it.
[[nodiscard]] Request parseRequest(const std::string& line, const RequestLimits& limits);

}  // namespace gateway
