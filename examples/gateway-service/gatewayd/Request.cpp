// SPDX-License-Identifier: MIT
#include "Request.h"

#include "JsonFields.h"
#include "Settings.h"

namespace gateway {

namespace {

constexpr const char* kDefaultPath =
    "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

// What the service keeps for as long as a job runs or a client is bound, and shows to everybody.
constexpr std::size_t kMostDescription = 256;
// What it keeps on disk.
constexpr std::size_t kMostSecret = 4096;
constexpr std::size_t kMostInterface = 256;

std::vector<std::string> environmentOf(JsonFields& fields) {
    auto environment = fields.optionalTexts("environment");
    if (!environment) {
        return {kDefaultPath};
    }
    for (const std::string& entry : *environment) {
        if (entry.find('=') == std::string::npos) {
            throw FieldError("\"environment\": NAME=value is expected");
        }
    }
    return *std::move(environment);
}

RunRequest runRequest(JsonFields& fields, const RequestLimits& limits) {
    RunRequest request;
    request.script.uuid = vorn::common::Uuid(0ULL);
    request.script.content = fields.text("script");
    request.script.description = fields.optionalText("description", kMostDescription).value_or("");
    request.script.chroot = fields.optionalText("chroot");
    request.script.cgroups = fields.optionalTexts("cgroups");
    request.script.environment = environmentOf(fields);
    request.withSecret = fields.flag("secret");
    request.timeout =
        vorn::common::time::SecondsDuration(fields.number("timeout", 1, limits.longestTimeout));
    return request;
}

ExecRequest execRequest(JsonFields& fields, const RequestLimits& limits) {
    ExecRequest request;
    request.uuid = vorn::common::Uuid(0ULL);
    request.program = fields.optionalTexts("program").value_or(std::vector<std::string>());
    if (request.program.empty() || request.program[0].substr(0, 1) != "/") {
        throw FieldError("\"program\": an array that begins with an absolute path is expected");
    }
    request.description = fields.optionalText("description", kMostDescription)
                              .value_or(request.program[0].substr(0, kMostDescription));
    request.environment = environmentOf(fields);
    request.timeout = std::chrono::seconds(fields.number("timeout", 1, limits.longestTimeout));
    return request;
}

SetRequest setRequest(JsonFields& fields, const RequestLimits& limits) {
    const std::string name = fields.text("name");
    if (name == "heartbeat") {
        const unsigned most = AdjustableValues::kMostHeartbeat;
        return {SetRequest::Name::Heartbeat, fields.number("value", 1, most)};
    }
    if (name == "jobLimit") {
        return {SetRequest::Name::JobLimit, fields.number("value", 1, limits.jobLimit)};
    }
    if (name == "secret") {
        return {SetRequest::Name::Secret, 0, fields.text("value", kMostSecret)};
    }
    throw FieldError("\"name\": there is no setting \"" + name + "\"");
}

vorn::common::Uuid uuidOf(JsonFields& fields, const char* name) {
    const std::string text = fields.text(name);
    try {
        return vorn::common::Uuid(text);
    } catch (const std::invalid_argument& error) {
        throw FieldError("\"" + std::string(name) + "\": " + error.what());
    }
}

BindRequest bindRequest(JsonFields& fields) {
    BindRequest request;
    request.interface = fields.text("interface", kMostInterface);
    request.client = uuidOf(fields, "client");
    return request;
}

Request anyRequest(JsonFields& fields, const RequestLimits& limits) {
    const std::string kind = fields.text("request");
    if (kind == "run") {
        return runRequest(fields, limits);
    }
    if (kind == "exec") {
        return execRequest(fields, limits);
    }
    if (kind == "status") {
        return StatusRequest{};
    }
    if (kind == "settings") {
        return SettingsRequest{};
    }
    if (kind == "set") {
        return setRequest(fields, limits);
    }
    if (kind == "bind") {
        return bindRequest(fields);
    }
    if (kind == "unbind") {
        return UnbindRequest{};
    }
    if (kind == "cancel") {
        return CancelRequest{uuidOf(fields, "uuid").to_string()};
    }
    if (kind == "result") {
        return ResultRequest{uuidOf(fields, "uuid").to_string()};
    }
    throw FieldError("\"request\": there is no request \"" + kind + "\"");
}

}  // namespace

Request parseRequest(const std::string& line, const RequestLimits& limits) {
    JsonFields fields(line);
    Request request = anyRequest(fields, limits);
    fields.finish();
    return request;
}

}  // namespace gateway
