#include "Settings.h"

#include <exception>
#include <limits>
#include <vector>

namespace gateway {

using vorn::common::BinderClient;
using vorn::common::BinderClientsList;
using vorn::common::Uuid;
using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

namespace {

constexpr const char* kVersion = "1";

template <class Number>
void load(const Deserializer& settings, const char* name, Number& value, Number least,
          Number most = std::numeric_limits<Number>::max()) {
    try {
        const auto loaded = settings.getMember(name).as<Number>();
        if (loaded >= least && loaded <= most) {
            value = loaded;
        }
    } catch (const std::exception&) {
        // Keeps its value.
    }
}

void load(const Deserializer& settings, const char* name, std::string& value) {
    try {
        value = settings.getMember(name).as<std::string>();
    } catch (const std::exception&) {
        // Keeps its value.
    }
}

void load(const Deserializer& settings, const char* name, BinderClientsList& list) {
    try {
        BinderClientsList loaded;
        for (const Deserializer& client : settings.getMember(name).members()) {
            loaded.emplace_back(client.getMember("uuid").as<Uuid>(),
                                client.getMember("interface").as<std::string>());
        }
        list = std::move(loaded);
    } catch (const std::exception&) {
        // Keeps its value.
    }
}

}  // namespace

bool Settings::loadSettings(const std::string& version, const Deserializer& settings) {
    if (version != kVersion) {
        return false;
    }
    load(settings, "heartbeat", adjustable.heartbeat, 1U, AdjustableValues::kMostHeartbeat);
    load(settings, "jobLimit", adjustable.jobLimit, 1U);
    load<std::uint64_t>(settings, "starts", counters.starts, 0);
    load<std::uint64_t>(settings, "scripts", counters.scripts, 0);
    load<std::uint64_t>(settings, "programs", counters.programs, 0);
    load(settings, "secret", secret);
    load(settings, "boundClients", boundClients);
    return true;
}

std::pair<std::string, Serializer> Settings::saveSettings() const {
    Serializer serializer;
    const auto add = [&serializer](const char* name, std::uint64_t value) {
        serializer.appendKey(name);
        serializer.addValue(value);
    };
    add("heartbeat", adjustable.heartbeat);
    add("jobLimit", adjustable.jobLimit);
    add("starts", counters.starts);
    add("scripts", counters.scripts);
    add("programs", counters.programs);
    serializer.appendKey("secret");
    serializer.addValue(secret);
    std::vector<Serializer> clients;
    for (const BinderClient& bound : boundClients) {
        Serializer client;
        client.appendKey("uuid");
        client.addValue(bound.uuid());
        client.appendKey("interface");
        client.addValue(bound.interface());
        client.finalize();
        clients.push_back(client);
    }
    serializer.appendKey("boundClients");
    serializer.addValue(clients);
    serializer.finalize();
    return {kVersion, serializer};
}

}  // namespace gateway
