#include "Service.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <utility>

#include "answers.h"

namespace gateway {

using vorn::common::Uuid;
using vorn::common::communication::ComState;
using vorn::common::communication::Reason;
using vorn::common::service::HealthStatus;
using vorn::common::service::OperatingStatus;
using vorn::common::time::UnixTime;

namespace {

// The same at every start, so that a client knows whom it was bound to.
Uuid identityOf(const Configuration& configuration) {
    return Uuid(Uuid::VORN_NAMESPACE, std::filesystem::absolute(configuration.socket).string());
}

}  // namespace

Service::Service(Parts parts, const ListeningSocket& socket, const EventDescriptor& stopSignal)
    : parts_(std::move(parts)),
      vault_(parts_.plugins),
      settings_(parts_.configuration.settings),
      bindingsDb_(identityOf(parts_.configuration), settings_),
      bindings_(
          bindingsDb_, this, parts_.configuration.bindingLimit,
          [this](ClientId client) { server_.send(client, unboundNotice(), Delivery::Notice); }),
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
    state_.uuid = bindingsDb_.uuid();
    state_.plugins = parts_.plugins.size();
    settings_.changeNow([this](Settings& settings) {
        ++settings.counters.starts;
        apply(settings.adjustable);
    });
    vorn::common::BinderClientsList before;
    bindingsDb_.getClientsList(before);
    if (!before.empty()) {
        std::cerr << "gatewayd: " << before.size() << " clients were bound when it was killed"
                  << std::endl;
        bindings_.updateClientsList();
    }
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

void Service::onGone(ClientId client) {
    commands_.post([this, client] { bindings_.onConnectionGone(client); });
}

void Service::onAccepting(bool possible) {
    commands_.post([this, possible] { setAccepting(possible); });
}

void Service::onStopSignal() {
    commands_.post([this] { beginStop(); });
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
    bindings_.dropAll();
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
