#include "Service.h"

#include <utility>

#include "JsonLine.h"
#include "RequestFields.h"
#include "answers.h"

namespace gateway {

using vorn::common::Uuid;
using vorn::common::communication::ComState;
using vorn::common::communication::Reason;
using vorn::common::service::HealthStatus;
using vorn::common::service::OperatingStatus;

Service::Service(const Configuration& configuration, Plugins plugins, bool pluginsMissing,
                 const ListeningSocket& socket, const EventDescriptor& stopSignal)
    : configuration_(configuration),
      plugins_(std::move(plugins)),
      server_(socket, stopSignal, configuration.clientLimit),
      status_(OperatingStatus::InService,
              pluginsMissing ? HealthStatus::Warning : HealthStatus::Ok),
      communication_(ComState::Ok),
      scripts_(
          configuration.scriptLimit,
          [this](const ScriptEnd& end) { commands_.post([this, end] { onScriptEnd(end); }); },
          [this](const Uuid& uuid) { commands_.post([this, uuid] { onScriptFree(uuid); }); }) {}

void Service::run() {
    server_.run(*this);
    commands_.stop();
    scripts_.stop();
}

void Service::onLine(ClientId client, Line line) {
    commands_.post([this, client, line = std::move(line)] { handle(client, line); });
}

void Service::onGone(ClientId) {}

void Service::onAccepting(bool possible) {
    commands_.post([this, possible] { setAccepting(possible); });
}

void Service::onStopSignal() {
    commands_.post([this] { beginStop(); });
}

void Service::handle(ClientId client, const Line& line) {
    try {
        if (line.problem == Line::Problem::TooLong) {
            throw RequestError("the line is longer than " + std::to_string(Client::kLongestLine) +
                               " bytes");
        }
        if (line.problem == Line::Problem::Unfinished) {
            throw RequestError("the last line has no line feed");
        }
        Request request = parseRequest(line.text, configuration_.longestTimeout);
        std::visit([this, client](auto& any) { handle(client, any); }, request);
    } catch (const RequestError& error) {
        server_.send(client, complaint(error.what()), Delivery::Answer);
    }
}

void Service::handle(ClientId client, RunRequest& request) {
    if (stopping_) {
        server_.send(client, refusal("the service is stopping"), Delivery::Answer);
    } else if (jobs_.size() >= configuration_.scriptLimit) {
        server_.send(client,
                     refusal("all " + std::to_string(configuration_.scriptLimit) +
                             " places for scripts are taken"),
                     Delivery::Answer);
    } else if (!scripts_.start(request)) {
        server_.send(client, refusal("the script cannot be started now"), Delivery::Answer);
    } else {
        jobs_[request.script.uuid.to_string()] = {client, request.script.description};
        server_.send(client, accepted(request.script.uuid), Delivery::AnswerBeforeResult);
    }
}

void Service::handle(ClientId client, StatusRequest&) {
    server_.send(client, statusLine(), Delivery::Answer);
}

void Service::onScriptEnd(const ScriptEnd& end) {
    const Job& job = jobs_.at(end.uuid.to_string());
    server_.send(job.client,
                 end.timedOut ? scriptTimeout(end.uuid) : scriptResult(end.uuid, end.exitCode),
                 Delivery::Result);
}

void Service::onScriptFree(const Uuid& uuid) {
    jobs_.erase(uuid.to_string());
    stopWhenIdle();
}

void Service::setAccepting(bool possible) {
    communication_.set(possible ? ComState::Ok : ComState::Error);
    communication_.set(possible ? Reason::None : Reason::ServiceUnavailable);
}

void Service::beginStop() {
    stopping_ = true;
    status_.operating = OperatingStatus::Stopping;
    stopWhenIdle();
}

void Service::stopWhenIdle() {
    if (stopping_ && jobs_.empty()) {
        server_.stop();
    }
}

std::string Service::statusLine() const {
    std::vector<std::string> running;
    for (const auto& [uuid, job] : jobs_) {
        running.push_back(
            JsonLine().text("uuid", uuid).text("description", job.description).take());
    }
    return JsonLine()
        .text("answer", "status")
        .json("service", status_.getJson())
        .json("communication", JsonLine()
                                   .text("state", toString(communication_.state()))
                                   .text("since", communication_.since().toIso8601())
                                   .text("reason", toString(communication_.reason()))
                                   .take())
        .json(
            "scripts",
            JsonLine().number("limit", configuration_.scriptLimit).jsons("running", running).take())
        .number("clients", static_cast<std::int64_t>(server_.clientCount()))
        .number("plugins", static_cast<std::int64_t>(plugins_.size()))
        .take();
}

}  // namespace gateway
