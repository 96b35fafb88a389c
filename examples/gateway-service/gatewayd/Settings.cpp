// SPDX-License-Identifier: MIT
#include "Settings.h"

#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

namespace gateway {

using vorn::common::BinderClient;
using vorn::common::BinderClientsList;
using vorn::common::Uuid;
using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

namespace {

constexpr const char* kVersion = "1";

/// Takes members out of a document, and the names of those that make no sense.
class Loader {
  public:
    explicit Loader(const Deserializer& settings) : settings_(settings) {}

    template <class Number>
    void load(const char* name, Number& value, Number least,
              Number most = std::numeric_limits<Number>::max()) {
        loadWith(name, [&](const Deserializer& node) {
            const auto loaded = node.as<Number>();
            if (loaded < least || loaded > most) {
                throw std::out_of_range(name);
            }
            value = loaded;
        });
    }

    void load(const char* name, std::string& value) {
        loadWith(name, [&](const Deserializer& node) { value = node.as<std::string>(); });
    }

    void load(const char* name, BinderClientsList& list) {
        loadWith(name, [&](const Deserializer& node) {
            BinderClientsList loaded;
            for (const Deserializer& client : node.members()) {
                loaded.emplace_back(client.getMember("uuid").as<Uuid>(),
                                    client.getMember("interface").as<std::string>());
            }
            list = std::move(loaded);
        });
    }

    [[nodiscard]] const std::string& misread() const { return misread_; }

  private:
    template <class Load>
    void loadWith(const char* name, Load load) {
        const Deserializer* node = settings_.findMember(name);
        if (node == nullptr) {
            return;
        }
        try {
            load(*node);
        } catch (const std::bad_alloc&) {
            throw;  // says nothing about the file
        } catch (const std::exception&) {
            misread_ += (misread_.empty() ? "" : " ") + std::string(name);
        }
    }

    const Deserializer& settings_;
    std::string misread_;
};

}  // namespace

bool Settings::loadSettings(const std::string& version, const Deserializer& settings) {
    // JsonSettings does not look at what is returned: a refusal is an exception.
    if (version != kVersion) {
        throw std::runtime_error("version \"" + version + "\" is not known");
    }
    if (settings.type() != Deserializer::MemberType::Object) {
        throw std::runtime_error("\"settings\" is no object");
    }
    Loader loader(settings);
    loader.load("heartbeat", adjustable.heartbeat, 1U, AdjustableValues::kMostHeartbeat);
    loader.load("jobLimit", adjustable.jobLimit, 1U);
    loader.load<std::uint64_t>("starts", counters.starts, 0);
    loader.load<std::uint64_t>("scripts", counters.scripts, 0);
    loader.load<std::uint64_t>("programs", counters.programs, 0);
    loader.load("secret", secret);
    loader.load("boundClients", boundClients);
    misread = loader.misread();
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
