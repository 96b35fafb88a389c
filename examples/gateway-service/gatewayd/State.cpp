#include "State.h"

#include <vector>

#include "JsonLine.h"

namespace gateway {

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

}  // namespace

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
        .number("checkRounds", number(state.checkRounds))
        .take();
}

std::string reportText(const State& state) {
    return toString(state.service.operating) + ", health " + toString(state.service.health) + ", " +
           std::to_string(state.scripts) + " scripts and " + std::to_string(state.programs) +
           " programs started, " + std::to_string(state.jobs.size()) + " running";
}

}  // namespace gateway
