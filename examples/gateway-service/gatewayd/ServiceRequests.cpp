// What the service does with each request; the rest of it is in Service.cpp.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "RequestFields.h"
#include "Service.h"
#include "answers.h"

namespace gateway {

using vorn::common::Binder;
using vorn::common::Uuid;

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
    if (!reason && request.withSecret) {
        try {
            addSecret(request.script);
        } catch (const std::runtime_error& error) {
            reason = error.what();
        }
    }
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
    try {
        change(request);
    } catch (const std::runtime_error& error) {
        server_.send(client, refusal(error.what()), Delivery::Answer);
        return;
    }
    SettingsRequest shown;
    handle(client, shown);
}

void Service::handle(ClientId client, BindRequest& request) {
    const auto result = bindings_.bind(client, request.client, request.interface);
    server_.send(client, bindingAnswer("bind", result, bindings_.syncTime()), Delivery::Answer);
}

void Service::handle(ClientId client, UnbindRequest&) {
    const auto result = bindings_.unbind(client);
    server_.send(client, bindingAnswer("unbind", result, bindings_.syncTime()), Delivery::Answer);
}

Binder::Error Service::onBindRequest(vorn::common::Bindable&) {
    return stopping_ ? Binder::BINDER_ERROR_REJECTED : Binder::BINDER_SUCCESS;
}

void Service::onUnbindRequest(vorn::common::Bindable& client) {
    std::cerr << "gatewayd: client " << client.uuid() << " leaves" << std::endl;
}

void Service::onClientsListChange(const vorn::common::BinderClientsList& list) {
    state_.boundClients = list.size();
}

void Service::change(const SetRequest& request) {
    const bool hasSecret = request.name == SetRequest::Name::Secret && !request.secret.empty();
    const std::string sealed = hasSecret ? vault_.seal(request.secret) : "";
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
        apply(settings.adjustable);
    });
}

void Service::addSecret(vorn::common::Script& script) {
    std::string sealed;
    settings_.read([&sealed](const Settings& settings) { sealed = settings.secret; });
    if (sealed.empty()) {
        throw std::runtime_error("there is no secret");
    }
    script.environment.push_back("GATEWAY_SECRET=" + vault_.open(sealed));
}

}  // namespace gateway
