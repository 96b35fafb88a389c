// SPDX-License-Identifier: MIT
#include "answers.h"

#include <vector>

#include "json.h"

namespace gateway {

using vorn::common::Uuid;

namespace {

std::int64_t number(std::uint64_t value) {
    return static_cast<std::int64_t>(value);
}

std::string communicationJson(const vorn::common::communication::CommunicationStatus& status) {
    return JsonLine()
        .text("state", toString(status.state()))
        .text("since", status.since().toIso8601())
        .text("reason", toString(status.reason()))
        .take();
}

std::string jobsJson(const State& state) {
    std::vector<std::string> running;
    for (const auto& [uuid, job] : state.jobs) {
        running.push_back(
            JsonLine().text("uuid", uuid).text("description", job.description).take());
    }
    return JsonLine()
        .number("limit", state.jobLimit)
        .jsons("running", running)
        .number("scripts", number(state.scripts))
        .number("programs", number(state.programs))
        .take();
}

std::string heartbeatJson(const State& state) {
    return JsonLine()
        .number("period", state.heartbeatPeriod)
        .number("count", number(state.heartbeats))
        .text("last", state.lastHeartbeat.toIso8601())
        .take();
}

void addEnd(JsonLine& line, const JobEnd& end) {
    line.text("result", toString(end.how)).uuid("uuid", end.uuid);
    if (end.exitCode) {
        line.number("exitCode", *end.exitCode);
    }
    if (end.output && end.errors) {
        line.text("output", end.output->text)
            .text("errors", end.errors->text)
            .flag("cut", end.output->cut || end.errors->cut);
    }
}

}  // namespace

const char* toString(JobEnd::How how) {
    constexpr const char* names[] = {"exited", "killed", "timeout", "cancelled", "failed"};
    return names[static_cast<int>(how)];
}

std::string refusal(const std::string& reason) {
    return JsonLine().text("answer", "refused").text("reason", reason).take();
}

std::string complaint(const std::string& what) {
    return JsonLine().text("answer", "error").text("error", what).take();
}

std::string accepted(const Uuid& uuid) {
    return JsonLine().text("answer", "accepted").uuid("uuid", uuid).take();
}

std::string resultLine(const JobEnd& end) {
    JsonLine line;
    addEnd(line, end);
    return line.take();
}

std::string runningAnswer(const std::string& uuid) {
    return JsonLine().text("answer", "result").text("result", "running").text("uuid", uuid).take();
}

std::string endedAnswer(const JobEnd& end) {
    JsonLine line;
    line.text("answer", "result");
    addEnd(line, end);
    return line.take();
}

std::string cancelAnswer(const std::string& uuid) {
    return JsonLine().text("answer", "cancel").text("uuid", uuid).take();
}

std::string bindingAnswer(const std::string& kind, vorn::common::Binder::Error result,
                          unsigned time) {
    return JsonLine()
        .text("answer", kind)
        .text("result", toString(result))
        .number("time", time)
        .take();
}

std::string unboundNotice() {
    return JsonLine().text("notice", "unbound").take();
}

std::string idleNotice() {
    return JsonLine().text("notice", "idle").take();
}

std::string settingsLine(const Settings& settings) {
    return JsonLine()
        .text("answer", "settings")
        .json("settings", JsonLine()
                              .number("heartbeat", settings.adjustable.heartbeat)
                              .number("jobLimit", settings.adjustable.jobLimit)
                              .flag("secret", !settings.secret.empty())
                              .take())
        .json("counters", JsonLine()
                              .number("starts", number(settings.counters.starts))
                              .number("scripts", number(settings.counters.scripts))
                              .number("programs", number(settings.counters.programs))
                              .take())
        .take();
}

std::string statusLine(const State& state) {
    return JsonLine()
        .text("answer", "status")
        .uuid("uuid", state.uuid)
        .json("service", state.service.getJson())
        .json("communication", communicationJson(state.communication))
        .json("jobs", jobsJson(state))
        .json("heartbeat", heartbeatJson(state))
        .number("clients", number(state.clients))
        .number("boundClients", number(state.boundClients))
        .number("plugins", number(state.plugins))
        .text("settings", state.settingsTrouble.empty() ? "ok" : state.settingsTrouble)
        .take();
}

std::string reportText(const State& state) {
    return toString(state.service.operating) + ", health " + toString(state.service.health) + ", " +
           std::to_string(state.scripts) + " scripts and " + std::to_string(state.programs) +
           " programs started, " + std::to_string(state.jobs.size()) + " running";
}

}  // namespace gateway
