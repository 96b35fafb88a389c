// SPDX-License-Identifier: MIT
#include "Configuration.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "JsonFields.h"
#include "sockets.h"

namespace gateway {

namespace {

constexpr unsigned kDay = 86400;
constexpr unsigned kMostClients = 512;

void take(JsonFields& fields, const char* name, std::string& value) {
    value = fields.optionalText(name).value_or(value);
}

void take(JsonFields& fields, const char* name, unsigned& value, unsigned least, unsigned most) {
    value = fields.optionalNumber(name, least, most).value_or(value);
}

constexpr std::size_t kMostContent = 65536;

std::string contentOf(const std::string& path) {
    errno = 0;
    std::ifstream file(path);
    std::string content;
    char block[4096];
    do {
        file.read(block, sizeof block);
        content.append(block, static_cast<std::size_t>(file.gcount()));
        // A device or a pipe may have no end.
        if (content.size() > kMostContent) {
            throw FieldError("is larger than 64 KiB");
        }
    } while (file);
    if (!file.eof()) {
        throw FieldError(std::string("cannot be read: ") + std::strerror(errno));
    }
    return content;
}

// Beside the socket and named like it, so that services that share nothing else share no settings;
// where the system manager provides a directory for what must last, there.
std::string settingsFor(const std::string& socket) {
    std::filesystem::path path = socket;
    path.replace_extension(".settings.json");
    const char* directory = std::getenv("STATE_DIRECTORY");
    return directory == nullptr ? path.string()
                                : (std::filesystem::path(directory) / path.filename()).string();
}

Configuration parse(const std::string& text) {
    JsonFields fields(text);
    Configuration configuration;
    take(fields, "socket", configuration.socket);
    take(fields, "settings", configuration.settings);
    take(fields, "plugins", configuration.plugins);
    take(fields, "report", configuration.report, 1, kDay);
    take(fields, "settingsDelay", configuration.settingsDelay, 1, kDay);
    if (const auto name = fields.optionalText("log")) {
        const auto level = log::levelFrom(*name);
        if (!level) {
            throw FieldError("\"log\": error, warning, info or debug is expected (found \"" +
                             *name + "\")");
        }
        configuration.log = *level;
    }
    JsonFields identity = fields.object("identity");
    take(identity, "user", configuration.user);
    take(identity, "group", configuration.group);
    take(identity, "capabilities", configuration.capabilities);
    identity.finish();
    JsonFields jobs = fields.object("jobs");
    take(jobs, "limit", configuration.jobLimit, 1, 64);
    take(jobs, "longestTimeout", configuration.longestTimeout, 1, kDay);
    take(jobs, "stopTime", configuration.stopTime, 0, kDay);
    jobs.finish();
    JsonFields clients = fields.object("clients");
    take(clients, "limit", configuration.clientLimit, 1, kMostClients);
    configuration.clientsPerUser = configuration.clientLimit - configuration.clientLimit / 4;
    take(clients, "perUser", configuration.clientsPerUser, 1, configuration.clientLimit);
    take(clients, "idle", configuration.idle, 1, kDay);
    clients.finish();
    JsonFields bindings = fields.object("bindings");
    take(bindings, "limit", configuration.bindingLimit, 0, kMostClients);
    bindings.finish();
    fields.finish();
    if (configuration.socket.empty()) {
        configuration.socket = defaultSocket();
    }
    if (configuration.settings.empty()) {
        configuration.settings = settingsFor(configuration.socket);
    }
    if (configuration.user.empty() != configuration.group.empty()) {
        throw FieldError("\"identity\": both \"user\" and \"group\" are needed");
    }
    return configuration;
}

}  // namespace

Configuration loadConfiguration(const std::string& path) {
    try {
        return parse(contentOf(path));
    } catch (const FieldError& error) {
        throw std::runtime_error("configuration \"" + path + "\": " + error.what());
    }
}

std::string fixedDifferences(const Configuration& now, const Configuration& next) {
    std::string names;
    const auto compare = [&names](const char* name, const auto& one, const auto& other) {
        if (one != other) {
            names += (names.empty() ? "" : ", ") + std::string(name);
        }
    };
    compare("socket", now.socket, next.socket);
    compare("settings", now.settings, next.settings);
    compare("identity.user", now.user, next.user);
    compare("identity.group", now.group, next.group);
    compare("identity.capabilities", now.capabilities, next.capabilities);
    compare("plugins", now.plugins, next.plugins);
    compare("jobs.limit", now.jobLimit, next.jobLimit);
    compare("bindings.limit", now.bindingLimit, next.bindingLimit);
    compare("report", now.report, next.report);
    compare("settingsDelay", now.settingsDelay, next.settingsDelay);
    return names;
}

}  // namespace gateway
