#include "Request.h"

#include "RequestFields.h"

namespace gateway {

namespace {

constexpr const char* kDefaultPath =
    "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

std::vector<std::string> environmentOf(RequestFields& fields) {
    auto environment = fields.optionalTexts("environment");
    if (!environment) {
        return {kDefaultPath};
    }
    for (const std::string& entry : *environment) {
        if (entry.find('=') == std::string::npos) {
            throw RequestError("\"environment\": NAME=value is expected");
        }
    }
    return *std::move(environment);
}

RunRequest runRequest(RequestFields& fields, unsigned longestTimeout) {
    RunRequest request;
    request.script.uuid = vorn::common::Uuid(0ULL);
    request.script.content = fields.text("script");
    request.script.description = fields.optionalText("description").value_or("");
    request.script.chroot = fields.optionalText("chroot");
    request.script.cgroups = fields.optionalTexts("cgroups");
    request.script.environment = environmentOf(fields);
    request.timeout =
        vorn::common::time::SecondsDuration(fields.number("timeout", 1, longestTimeout));
    return request;
}

ExecRequest execRequest(RequestFields& fields, unsigned longestTimeout) {
    ExecRequest request;
    request.uuid = vorn::common::Uuid(0ULL);
    request.program = fields.optionalTexts("program").value_or(std::vector<std::string>());
    if (request.program.empty() || request.program[0].substr(0, 1) != "/") {
        throw RequestError("\"program\": an array that begins with an absolute path is expected");
    }
    request.description = fields.optionalText("description").value_or(request.program[0]);
    request.environment = environmentOf(fields);
    request.timeout = std::chrono::seconds(fields.number("timeout", 1, longestTimeout));
    return request;
}

Request anyRequest(RequestFields& fields, unsigned longestTimeout) {
    const std::string kind = fields.text("request");
    if (kind == "run") {
        return runRequest(fields, longestTimeout);
    }
    if (kind == "exec") {
        return execRequest(fields, longestTimeout);
    }
    if (kind == "status") {
        return StatusRequest{};
    }
    throw RequestError("\"request\": there is no request \"" + kind + "\"");
}

}  // namespace

Request parseRequest(const std::string& line, unsigned longestTimeout) {
    RequestFields fields(line);
    Request request = anyRequest(fields, longestTimeout);
    fields.finish();
    return request;
}

}  // namespace gateway
