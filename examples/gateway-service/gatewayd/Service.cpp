#include "Service.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <utility>

#include "RequestFields.h"
#include "answers.h"

namespace gateway {

using vorn::common::Uuid;
using vorn::common::communication::ComState;
using vorn::common::communication::Reason;
using vorn::common::service::HealthStatus;
using vorn::common::service::OperatingStatus;
using vorn::common::time::UnixTime;

Service::Service(Parts parts, const ListeningSocket& socket, const EventDescriptor& stopSignal)
    : parts_(std::move(parts)),
      settings_(parts_.configuration.settings),
      server_(socket, stopSignal, parts_.configuration.clientLimit),
      scripts_(
          parts_.configuration.jobLimit,
          [this](const ScriptEnd& end) { commands_.post([this, end] { onScriptEnd(end); }); },
          [this](const Uuid& uuid) { commands_.post([this, uuid] { onJobGone(uuid); }); }),
      programs_(
          parts_.configuration.jobLimit,
          [this](const ProgramEnd& end) { commands_.post([this, end] { onProgramEnd(end); }); }),
      heartbeat_([this] { commands_.post([this] { onHeartbeat(); }); },
                 vorn::common::time::Timer::MIN_PERIOD),
      report_([this](TimePoint when) { commands_.post([this, when] { onReport(when); }); },
              std::chrono::seconds(parts_.configuration.report)) {
    state_.service.operating = OperatingStatus::InService;
    state_.service.health = parts_.pluginsMissing ? HealthStatus::Warning : HealthStatus::Ok;
    state_.communication.set(ComState::Ok);
    state_.plugins = parts_.plugins.size();
    settings_.changeNow([this](Settings& settings) {
        ++settings.counters.starts;
        apply(settings.adjustable);
    });
}

void Service::apply(const AdjustableValues& values) {
    state_.jobLimit = std::min(values.jobLimit, parts_.configuration.jobLimit);
    state_.heartbeatPeriod = values.heartbeat;
    std::unique_lock lock(heartbeat_.mutex());
    heartbeat_.setPeriod(std::chrono::seconds(values.heartbeat), lock);
    heartbeat_.start(lock);
}

void Service::run() {
    report_.start();
    if (parts_.configuration.maintenanceShare > 0) {
        fileCheck_.emplace(parts_.checkedFiles, parts_.configuration.maintenanceShare,
                           [this](const std::string& file) {
                               commands_.post([this, file] { onFileChanged(file); });
                           });
    }
    server_.run(*this);
    commands_.stop();
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
        Request request = parseRequest(
            line.text, {parts_.configuration.longestTimeout, parts_.configuration.jobLimit});
        std::visit([this, client](auto& any) { handle(client, any); }, request);
    } catch (const RequestError& error) {
        server_.send(client, complaint(error.what()), Delivery::Answer);
    }
}

std::optional<std::string> Service::reasonToRefuse() const {
    if (stopping_) {
        return "the service is stopping";
    }
    if (state_.jobs.size() >= state_.jobLimit) {
        return "all " + std::to_string(state_.jobLimit) + " places for jobs are taken";
    }
    return std::nullopt;
}

void Service::accept(ClientId client, const Uuid& uuid, const std::string& description) {
    state_.jobs[uuid.to_string()] = {client, description};
    server_.send(client, accepted(uuid), Delivery::AnswerBeforeResult);
}

void Service::handle(ClientId client, RunRequest& request) {
    std::optional<std::string> reason = reasonToRefuse();
    if (!reason && !scripts_.start(request)) {
        reason = "the script cannot be started now";
    }
    if (reason) {
        server_.send(client, refusal(*reason), Delivery::Answer);
        return;
    }
    ++state_.scripts;
    settings_.change([](Settings& settings) { ++settings.counters.scripts; });
    accept(client, request.script.uuid, request.script.description);
}

void Service::handle(ClientId client, ExecRequest& request) {
    std::optional<std::string> reason = reasonToRefuse();
    if (!reason && ::access(request.program[0].c_str(), X_OK) != 0) {
        reason = "cannot execute \"" + request.program[0] + "\": " + std::strerror(errno);
    }
    if (!reason) {
        try {
            programs_.start(request);
        } catch (const std::exception& error) {
            reason = "cannot start \"" + request.program[0] + "\": " + error.what();
        }
    }
    if (reason) {
        server_.send(client, refusal(*reason), Delivery::Answer);
        return;
    }
    ++state_.programs;
    settings_.change([](Settings& settings) { ++settings.counters.programs; });
    accept(client, request.uuid, request.description);
}

void Service::handle(ClientId client, StatusRequest&) {
    refreshState();
    server_.send(client, statusLine(state_), Delivery::Answer);
}

void Service::handle(ClientId client, SettingsRequest&) {
    settings_.read([this, client](const Settings& settings) {
        server_.send(client, settingsLine(settings), Delivery::Answer);
    });
}

void Service::handle(ClientId client, SetRequest& request) {
    settings_.changeNow([this, &request](Settings& settings) {
        (request.name == SetRequest::Name::Heartbeat ? settings.adjustable.heartbeat
                                                     : settings.adjustable.jobLimit) =
            request.value;
        apply(settings.adjustable);
    });
    SettingsRequest shown;
    handle(client, shown);
}

void Service::onScriptEnd(const ScriptEnd& end) {
    server_.send(state_.jobs.at(end.uuid.to_string()).client,
                 end.timedOut ? scriptTimeout(end.uuid) : scriptResult(end.uuid, end.exitCode),
                 Delivery::Result);
}

void Service::onProgramEnd(const ProgramEnd& end) {
    server_.send(state_.jobs.at(end.uuid.to_string()).client, programResult(end), Delivery::Result);
    onJobGone(end.uuid);
}

void Service::onJobGone(const Uuid& uuid) {
    state_.jobs.erase(uuid.to_string());
    stopWhenIdle();
}

void Service::setAccepting(bool possible) {
    state_.communication.set(possible ? ComState::Ok : ComState::Error);
    state_.communication.set(possible ? Reason::None : Reason::ServiceUnavailable);
}

void Service::onHeartbeat() {
    ++state_.heartbeats;
    state_.lastHeartbeat = UnixTime::nowWithHighPrecision();
}

void Service::onReport(TimePoint when) {
    const std::chrono::duration<double> seconds = when.time_since_epoch();
    std::cerr << "gatewayd: " << UnixTime::fromSeconds(seconds.count()).toIso8601() << " "
              << reportText(state_) << std::endl;
}

void Service::onFileChanged(const std::string& file) {
    std::cerr << "gatewayd: \"" << file << "\" has changed" << std::endl;
    state_.service.health = HealthStatus::Warning;
}

void Service::beginStop() {
    stopping_ = true;
    state_.service.operating = OperatingStatus::Stopping;
    stopWhenIdle();
}

void Service::stopWhenIdle() {
    if (stopping_ && state_.jobs.empty()) {
        server_.stop();
    }
}

void Service::refreshState() {
    state_.clients = server_.clientCount();
    state_.checkRounds = fileCheck_ ? fileCheck_->rounds() : 0;
}

}  // namespace gateway
