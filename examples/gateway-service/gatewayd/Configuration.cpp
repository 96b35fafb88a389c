#include "Configuration.h"

#include <vorn/common/TypedArgs.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace gateway {

namespace {

using vorn::common::GetTypedArgHelper;
using vorn::common::lwjson::Deserializer;

// Takes arguments out of the flat map, so that what is left over is what nobody knows.
class Arguments {
  public:
    explicit Arguments(const Deserializer& document)
        : arguments_(vorn::common::loadArgs(document)) {}

    void take(const std::string& key, std::string& value) {
        takeWith(key, [&](const std::string& text) {
            value = GetTypedArgHelper<std::string>::get(text);
        });
    }

    void take(const std::string& key, unsigned& value, unsigned least, unsigned most) {
        takeWith(key, [&](const std::string& text) {
            value = GetTypedArgHelper<unsigned>::get(text);
            if (value < least || value > most) {
                throw std::invalid_argument("from " + std::to_string(least) + " to " +
                                            std::to_string(most) + " is possible");
            }
        });
    }

    void refuseOthers() const {
        if (!arguments_.empty()) {
            throw std::invalid_argument("unknown argument \"" + arguments_.begin()->first + "\"");
        }
    }

  private:
    template <class Take>
    void takeWith(const std::string& key, Take take) {
        const auto entry = arguments_.find(key);
        if (entry == arguments_.end()) {
            return;
        }
        try {
            take(entry->second);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("\"" + key + "\": " + error.what());
        }
        arguments_.erase(entry);
    }

    vorn::common::Args arguments_;
};

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    std::string content(std::istreambuf_iterator<char>(file), {});
    if (!file) {
        throw std::invalid_argument("cannot be read");
    }
    return content;
}

Configuration parse(const std::string& text) {
    const Deserializer document(text);
    if (document.type() != Deserializer::MemberType::Object) {
        throw std::invalid_argument("a JSON object is expected");
    }
    Arguments arguments(document);
    Configuration configuration;
    arguments.take("socket", configuration.socket);
    arguments.take("settings", configuration.settings);
    arguments.take("identity_user", configuration.user);
    arguments.take("identity_group", configuration.group);
    arguments.take("identity_capabilities", configuration.capabilities);
    arguments.take("plugins", configuration.plugins);
    arguments.take("jobs_limit", configuration.jobLimit, 1, 64);
    arguments.take("jobs_longestTimeout", configuration.longestTimeout, 1, 86400);
    arguments.take("clients_limit", configuration.clientLimit, 1, 512);
    arguments.take("bindings_limit", configuration.bindingLimit, 0, 512);
    arguments.take("report", configuration.report, 1, 86400);
    arguments.take("maintenance_share", configuration.maintenanceShare, 0, 100);
    arguments.refuseOthers();
    if (configuration.socket.empty()) {
        throw std::invalid_argument("\"socket\" is missing");
    }
    if (configuration.settings.empty()) {
        configuration.settings =
            std::filesystem::path(configuration.socket).replace_filename("settings.json").string();
    }
    if (configuration.user.empty() != configuration.group.empty()) {
        throw std::invalid_argument("an identity needs both \"user\" and \"group\"");
    }
    return configuration;
}

}  // namespace

Configuration loadConfiguration(const std::string& path) {
    try {
        return parse(contentOf(path));
    } catch (const std::exception& error) {
        throw std::runtime_error("configuration \"" + path + "\": " + error.what());
    }
}

}  // namespace gateway
