#include "identity.h"

#include <sys/capability.h>
#include <unistd.h>

#include <vorn/common/service/ProcessAttributes.h>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace gateway {

namespace {

std::vector<cap_value_t> capabilitiesOf(const std::string& names) {
    std::vector<cap_value_t> capabilities;
    std::istringstream words(names);
    for (std::string name; words >> name;) {
        cap_value_t capability = 0;
        if (::cap_from_name(name.c_str(), &capability) != 0) {
            throw std::runtime_error("there is no capability \"" + name + "\"");
        }
        capabilities.push_back(capability);
    }
    return capabilities;
}

// Returns the directory when it was made here, else nothing.
std::string makeDirectoryOf(const std::string& socket) {
    const std::filesystem::path directory = std::filesystem::path(socket).parent_path();
    const bool made = !directory.empty() && std::filesystem::create_directory(directory);
    return made ? directory.string() : std::string();
}

}  // namespace

void takeIdentity(const Configuration& configuration) {
    const std::string made = makeDirectoryOf(configuration.socket);
    if (configuration.user.empty()) {
        std::cerr << "gatewayd: no identity is configured, staying user " << ::geteuid()
                  << std::endl;
    } else if (::geteuid() != 0) {
        std::cerr << "gatewayd: not started as root, staying user " << ::geteuid() << std::endl;
    } else {
        vorn::common::service::ProcessAttrs identity;
        identity.user = configuration.user;
        identity.group = configuration.group;
        identity.capabilities = capabilitiesOf(configuration.capabilities);
        vorn::common::service::setProcessAttributes(identity, made);
        std::cerr << "gatewayd: now user " << configuration.user << ", group "
                  << configuration.group << std::endl;
    }
}

}  // namespace gateway
