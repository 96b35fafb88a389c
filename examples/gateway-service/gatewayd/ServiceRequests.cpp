// SPDX-License-Identifier: MIT

// What the service does with each request; the rest of it is in Service.cpp.
#include "Service.h"

#include <algorithm>
#include <stdexcept>

#include "JsonFields.h"
#include "Log.h"
#include "answers.h"

namespace gateway {

using vorn::common::Binder;
using vorn::common::Uuid;

namespace {

/// A request that is understood and cannot be served now, and why.
class Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace

// Each request is answered once: a handler sends its answer as the last thing it does, and when
// it throws before that, the exception is the answer.
void Service::handle(ClientId client, const Peer& peer, const Line& line) {
    std::string answer;
    try {
        if (line.problem == Line::Problem::TooLong) {
            throw FieldError("the line is longer than " + std::to_string(Client::kLongestLine) +
                             " bytes");
        }
        if (line.problem == Line::Problem::Unfinished) {
            throw FieldError("the last line has no line feed");
        }
        Request request =
            parseRequest(line.text, {configuration_.longestTimeout, configuration_.jobLimit});
        std::visit([&](auto& any) { handle(client, peer, any); }, request);
        return;
    } catch (const FieldError& error) {
        answer = complaint(error.what());
    } catch (const Refused& error) {
        answer = refusal(error.what());
    } catch (const std::exception& error) {
        log::warning(std::string("a request failed: ") + error.what());
        answer = refusal(error.what());
    } catch (...) {  // whatever a plug-in throws
        log::warning("a request failed");
        answer = refusal("the request failed");
    }
    server_.send(client, answer, Delivery::Answer);
}

void Service::refuseWhenFull() const {
    if (stopping_) {
        throw Refused("the service is stopping");
    }
    if (state_.jobs.size() >= state_.jobLimit) {
        throw Refused("all " + std::to_string(state_.jobLimit) + " places for jobs are taken");
    }
}

void Service::accept(ClientId client, const Peer& peer, const Uuid& uuid, Job job) {
    ++(job.isProgram ? state_.programs : state_.scripts);
    settings_.change([&job](Settings& settings) {
        ++(job.isProgram ? settings.counters.programs : settings.counters.scripts);
    });
    log::info("job " + uuid.to_string() + ": " + (job.isProgram ? "program" : "script") +
              " of user " + std::to_string(peer.user) + ", process " +
              std::to_string(peer.process) + ": " + job.description);
    job.client = client;
    state_.jobs[uuid.to_string()] = std::move(job);
    server_.send(client, accepted(uuid), Delivery::AnswerBeforeResult);
}

void Service::handle(ClientId client, const Peer& peer, RunRequest& request) {
    refuseWhenFull();
    if (request.withSecret) {
        addSecret(request.script);
    }
    scripts_.start(request);
    accept(client, peer, request.script.uuid, {.description = request.script.description});
}

void Service::handle(ClientId client, const Peer& peer, ExecRequest& request) {
    refuseWhenFull();
    programs_.start(request);
    accept(client, peer, request.uuid, {.description = request.description, .isProgram = true});
}

void Service::handle(ClientId client, const Peer&, StatusRequest&) {
    refreshState();
    server_.send(client, statusLine(state_), Delivery::Answer);
}

void Service::handle(ClientId client, const Peer&, SettingsRequest&) {
    std::string answer;
    settings_.read([&answer](const Settings& settings) { answer = settingsLine(settings); });
    server_.send(client, answer, Delivery::Answer);
}

void Service::handle(ClientId client, const Peer& peer, SetRequest& request) {
    change(request);
    log::info("a setting was changed by user " + std::to_string(peer.user) + ", process " +
              std::to_string(peer.process));
    SettingsRequest shown;
    handle(client, peer, shown);
}

void Service::handle(ClientId client, const Peer&, BindRequest& request) {
    const auto result = bindings_.bind(client, request.client, request.interface);
    log::debug("bind: " + toString(result));
    server_.send(client, bindingAnswer("bind", result, bindings_.syncTime()),
                 result == Binder::BINDER_SUCCESS ? Delivery::AnswerAndStay : Delivery::Answer);
}

void Service::handle(ClientId client, const Peer&, UnbindRequest&) {
    const auto result = bindings_.unbind(client);
    server_.send(client, bindingAnswer("unbind", result, bindings_.syncTime()),
                 result == Binder::BINDER_SUCCESS ? Delivery::AnswerAndGo : Delivery::Answer);
}

void Service::handle(ClientId client, const Peer& peer, CancelRequest& request) {
    const auto job = state_.jobs.find(request.uuid);
    if (job == state_.jobs.end() || job->second.told) {
        throw Refused("no such job runs");
    }
    if (!stopJob(request.uuid, job->second)) {
        throw Refused("the job is just being started; try again");
    }
    log::info("job " + request.uuid + ": cancelled by user " + std::to_string(peer.user) +
              ", process " + std::to_string(peer.process));
    server_.send(client, cancelAnswer(request.uuid), Delivery::Answer);
}

void Service::handle(ClientId client, const Peer&, ResultRequest& request) {
    const auto end = std::find_if(state_.ends.begin(), state_.ends.end(), [&](const JobEnd& known) {
        return known.uuid.to_string() == request.uuid;
    });
    if (end != state_.ends.end()) {
        server_.send(client, endedAnswer(*end), Delivery::Answer);
    } else if (state_.jobs.count(request.uuid) != 0) {
        server_.send(client, runningAnswer(request.uuid), Delivery::Answer);
    } else {
        throw Refused("no such job is known; the last " + std::to_string(State::kMostEnds) +
                      " ends are kept");
    }
}

Binder::Error Service::onBindRequest(vorn::common::Bindable&) {
    return stopping_ ? Binder::BINDER_ERROR_REJECTED : Binder::BINDER_SUCCESS;
}

void Service::onUnbindRequest(vorn::common::Bindable& client) {
    log::debug("client " + client.uuid().to_string() + " leaves");
}

void Service::onClientsListChange(const vorn::common::BinderClientsList& list) {
    state_.boundClients = list.size();
}

void Service::change(const SetRequest& request) {
    const bool hasSecret = request.name == SetRequest::Name::Secret && !request.secret.empty();
    const std::string sealed = hasSecret ? vault_.seal(request.secret) : "";
    AdjustableValues values;
    settings_.changeNow([&](Settings& settings) {
        switch (request.name) {
            case SetRequest::Name::Heartbeat:
                settings.adjustable.heartbeat = request.value;
                break;
            case SetRequest::Name::JobLimit:
                settings.adjustable.jobLimit = request.value;
                break;
            case SetRequest::Name::Secret:
                settings.secret = sealed;
                break;
        }
        values = settings.adjustable;
    });
    apply(values);
}

void Service::addSecret(vorn::common::Script& script) {
    std::string sealed;
    settings_.read([&sealed](const Settings& settings) { sealed = settings.secret; });
    if (sealed.empty()) {
        throw Refused("there is no secret");
    }
    script.environment.push_back("GATEWAY_SECRET=" + vault_.open(sealed));
}

}  // namespace gateway
