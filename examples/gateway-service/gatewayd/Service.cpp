// SPDX-License-Identifier: MIT
#include "Service.h"

#include <algorithm>
#include <filesystem>
#include <thread>
#include <utility>

#include "Log.h"
#include "answers.h"

namespace gateway {

using vorn::common::Uuid;
using vorn::common::communication::ComState;
using vorn::common::communication::Reason;
using vorn::common::service::HealthStatus;
using vorn::common::service::OperatingStatus;
using vorn::common::time::Recurrence;
using vorn::common::time::Timer;
using vorn::common::time::UnixTime;

namespace {

constexpr std::chrono::milliseconds kKillAgain(250);
constexpr unsigned kMostEndings = 20;

// The same at every start, so that a client knows whom it was bound to.
Uuid identityOf(const Configuration& configuration) {
    return Uuid(Uuid::VORN_NAMESPACE, std::filesystem::absolute(configuration.socket).string());
}

Server::Limits limitsOf(const Configuration& configuration) {
    return {configuration.clientLimit, configuration.clientsPerUser,
            std::chrono::seconds(configuration.idle)};
}

}  // namespace

Service::Service(Parts parts, Server::Sources sources)
    : configurationFile_(std::move(parts.configurationFile)),
      configuration_(std::move(parts.configuration)),
      plugins_(std::move(parts.plugins)),
      vault_(plugins_),
      settings_(configuration_.settings, std::chrono::seconds(configuration_.settingsDelay),
                [this](const std::string& trouble) {
                    commands_.post([this, trouble] { setSettingsTrouble(trouble); });
                }),
      bindingsDb_(identityOf(configuration_), settings_),
      bindings_(
          bindingsDb_, this, configuration_.bindingLimit,
          [this](ClientId client) { server_.send(client, unboundNotice(), Delivery::Notice); }),
      server_(sources, limitsOf(configuration_)),
      scripts_(
          [this](JobEnd end) { commands_.post([this, end = std::move(end)] { onJobEnd(end); }); },
          [this](const Uuid& uuid) { commands_.post([this, uuid] { onJobGone(uuid); }); }),
      programs_(
          configuration_.jobLimit,
          [this](JobEnd end) { commands_.post([this, end = std::move(end)] { onJobEnd(end); }); },
          [this](const Uuid& uuid) { commands_.post([this, uuid] { onJobGone(uuid); }); }),
      heartbeat_([this] { commands_.post([this] { onHeartbeat(); }); }, Timer::MIN_PERIOD),
      stopTimer_([this] { commands_.post([this] { endJobs(); }); },
                 std::chrono::seconds(configuration_.stopTime), Recurrence::OneShot),
      report_([this](TimePoint when) { commands_.post([this, when] { onReport(when); }); },
              std::chrono::seconds(configuration_.report)) {
    state_.service.operating = OperatingStatus::InService;
    state_.communication.set(ComState::Ok);
    state_.uuid = bindingsDb_.uuid();
    state_.plugins = plugins_.size();
    state_.pluginsMissing = parts.pluginsMissing;
    state_.settingsTrouble = settings_.foundTrouble();
    try {
        settings_.changeNow([](Settings& settings) { ++settings.counters.starts; });
    } catch (const std::exception&) {
        // Has been logged, and shows in the health: it serves all the same.
    }
    settings_.read([this](const Settings& settings) { apply(settings.adjustable); });
    vorn::common::BinderClientsList before;
    bindingsDb_.getClientsList(before);
    if (!before.empty()) {
        log::info(std::to_string(before.size()) + " clients were bound when it was killed");
        bindings_.updateClientsList();
    }
}

void Service::apply(const AdjustableValues& values) {
    state_.jobLimit = std::min(values.jobLimit, configuration_.jobLimit);
    if (state_.heartbeatPeriod != values.heartbeat) {
        state_.heartbeatPeriod = values.heartbeat;
        std::unique_lock lock(heartbeat_.mutex());
        heartbeat_.setPeriod(std::chrono::seconds(values.heartbeat), lock);
        heartbeat_.start(lock);
    }
}

bool Service::run() {
    report_.start();
    try {
        server_.run(*this);
    } catch (const std::exception& error) {
        // Destroying this object would wait for the jobs: the supervisor starts another one.
        log::error(std::string("the service cannot go on: ") + error.what());
        commands_.stop();  // from here on the state belongs to this thread
        for (const auto& [uuid, job] : state_.jobs) {
            static_cast<void>(stopJob(uuid, job));
        }
        std::this_thread::sleep_for(kKillAgain);  // programs are killed by other threads
        return false;
    }
    commands_.stop();
    settings_.flush();
    return !abandoned_;
}

void Service::onLine(ClientId client, const Peer& peer, Line line) {
    commands_.post([this, client, peer, line = std::move(line)] { handle(client, peer, line); });
}

void Service::onGone(ClientId client) {
    commands_.post([this, client] { bindings_.onConnectionGone(client); });
}

void Service::onAccepting(bool possible) {
    commands_.post([this, possible] { setAccepting(possible); });
}

void Service::onStopSignal(std::uint64_t times) {
    commands_.post([this, times] {
        beginStop();
        if (times > 1) {
            beginStop();
        }
    });
}

void Service::onReloadSignal() {
    commands_.post([this] { reload(); });
}

void Service::onJobEnd(const JobEnd& end) {
    const std::string uuid = end.uuid.to_string();
    const auto job = state_.jobs.find(uuid);
    if (job == state_.jobs.end()) {
        return;
    }
    job->second.told = true;
    state_.ends.push_back(end);
    if (state_.ends.size() > State::kMostEnds) {
        state_.ends.pop_front();
    }
    log::info("job " + uuid + ": " + toString(end.how) +
              (end.exitCode ? " with " + std::to_string(*end.exitCode) : ""));
    server_.send(job->second.client, resultLine(end), Delivery::Result);
}

void Service::onJobGone(const Uuid& uuid) {
    state_.jobs.erase(uuid.to_string());
    stopWhenIdle();
}

bool Service::stopJob(const std::string& uuid, const Job& job) {
    if (!job.isProgram) {
        return scripts_.stop(Uuid(uuid));
    }
    programs_.stop(Uuid(uuid));
    return true;
}

void Service::setAccepting(bool possible) {
    state_.communication.set(possible ? ComState::Ok : ComState::Error);
    state_.communication.set(possible ? Reason::None : Reason::ServiceUnavailable);
    if (possible) {
        log::info("connections are accepted again");
    } else {
        log::error("the system lacks descriptors or memory for a new connection");
    }
}

void Service::setSettingsTrouble(const std::string& trouble) {
    state_.settingsTrouble = trouble;
}

void Service::onHeartbeat() {
    ++state_.heartbeats;
    state_.lastHeartbeat = UnixTime::nowWithHighPrecision();
    log::flush();
}

void Service::onReport(TimePoint when) {
    const std::chrono::duration<double> seconds = when.time_since_epoch();
    refreshState();
    log::info(UnixTime::fromSeconds(seconds.count()).toIso8601() + " " + reportText(state_));
}

void Service::reload() {
    try {
        const Configuration next = loadConfiguration(configurationFile_);
        log::setLevel(next.log);
        configuration_.log = next.log;
        configuration_.longestTimeout = next.longestTimeout;
        configuration_.stopTime = next.stopTime;
        configuration_.clientLimit = next.clientLimit;
        configuration_.clientsPerUser = next.clientsPerUser;
        configuration_.idle = next.idle;
        server_.setLimits(limitsOf(configuration_));
        const std::string fixed = fixedDifferences(configuration_, next);
        log::info("the configuration has been read again" +
                  (fixed.empty() ? "" : "; this needs another start: " + fixed));
    } catch (const std::exception& error) {
        log::error(std::string("goes on with the old configuration: ") + error.what());
    }
}

// Once for each signal: the second one means at once.
void Service::beginStop() {
    if (stopping_) {
        endJobs();
        return;
    }
    stopping_ = true;
    state_.service.operating = OperatingStatus::Stopping;
    log::info("stopping; jobs that run: " + std::to_string(state_.jobs.size()));
    bindings_.dropAll();
    if (configuration_.stopTime == 0) {
        endJobs();
    } else {
        std::unique_lock lock(stopTimer_.mutex());
        stopTimer_.setPeriod(std::chrono::seconds(configuration_.stopTime), lock);
        stopTimer_.start(lock);
    }
    stopWhenIdle();
}

void Service::endJobs() {
    if (!ending_ && !state_.jobs.empty()) {
        log::warning("kills the jobs that run: " + std::to_string(state_.jobs.size()));
    }
    ending_ = true;
    for (const auto& [uuid, job] : state_.jobs) {
        static_cast<void>(stopJob(uuid, job));
    }
    // Again for one that was just being started. A process that waits for a device cannot be
    // killed: the service ends without it.
    abandoned_ = !state_.jobs.empty() && ++endings_ > kMostEndings;
    if (abandoned_) {
        server_.stop();
    } else if (!state_.jobs.empty()) {
        std::unique_lock lock(stopTimer_.mutex());
        stopTimer_.setPeriod(kKillAgain, lock);
        stopTimer_.start(lock);
    }
    stopWhenIdle();
}

void Service::stopWhenIdle() {
    if (stopping_ && state_.jobs.empty()) {
        server_.stop();
    }
}

void Service::refreshState() {
    state_.clients = server_.clientCount();
    state_.service.health = !state_.settingsTrouble.empty() ? HealthStatus::MinorFailure
                            : state_.pluginsMissing         ? HealthStatus::Warning
                                                            : HealthStatus::Ok;
}

}  // namespace gateway
