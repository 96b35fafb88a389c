#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "Configuration.h"
#include "Service.h"
#include "identity.h"
#include "signals.h"

namespace {

constexpr const char* kUsage =
    "usage: gatewayd CONFIG.json\n"
    "\n"
    "Runs shell scripts on request over a Unix-domain socket until SIGTERM or SIGINT; running\n"
    "scripts are then waited for. Stays in the foreground and reports on the standard error\n"
    "stream; its scripts write to its standard output.\n"
    "\n"
    "exit status: 0 after a signal, 1 when it cannot start, 2 for wrong usage\n";

// Descriptors beside those of the clients: a few for the service, some for each script.
constexpr rlim_t kReservedDescriptors = 64;

// Scripts inherit the standard input: a terminal's would be read by all of them at once.
void closeStandardInput() {
    const gateway::FileDescriptor nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (nothing) {
        ::dup2(nothing.get(), STDIN_FILENO);
    }
}

void checkDescriptors(const gateway::Configuration& configuration) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur != RLIM_INFINITY &&
        limit.rlim_cur < kReservedDescriptors + configuration.clientLimit) {
        throw std::runtime_error(std::to_string(configuration.clientLimit) +
                                 " clients are too many for a limit of " +
                                 std::to_string(limit.rlim_cur) + " descriptors");
    }
}

// Whether a configured plug-in is missing from what could be loaded; the reason has been reported.
bool anyMissing(const std::string& path, const gateway::Plugins& plugins) {
    try {
        const auto configured = vorn::common::loadConfigFile(path);
        return std::any_of(configured.begin(), configured.end(), [&plugins](const auto& plugin) {
            return plugins.count(plugin.path) == 0;
        });
    } catch (const std::exception&) {
        return true;
    }
}

void serve(const gateway::Configuration& configuration) {
    checkDescriptors(configuration);
    gateway::takeIdentity(configuration);
    closeStandardInput();
    const gateway::EventDescriptor& stopSignal = gateway::catchStopSignals();

    gateway::Service::Parts parts;
    parts.configuration = configuration;
    parts.checkedFiles = {"/proc/self/exe"};
    if (!configuration.plugins.empty()) {
        parts.plugins = vorn::common::loadDynamicLibraries(configuration.plugins);
        parts.pluginsMissing = anyMissing(configuration.plugins, parts.plugins);
        parts.checkedFiles.push_back(configuration.plugins);
    }
    const gateway::ListeningSocket socket(configuration.socket);
    gateway::Service service(std::move(parts), socket, stopSignal);
    std::cerr << "gatewayd: in service at " << socket.path() << std::endl;
    service.run();
    std::cerr << "gatewayd: ended" << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::cout << kUsage;
        return 0;
    }
    if (argc != 2) {
        std::cerr << kUsage;
        return 2;
    }
    try {
        serve(gateway::loadConfiguration(argv[1]));
    } catch (const std::exception& error) {
        std::cerr << "gatewayd: " << error.what() << std::endl;
        return 1;
    }
    return 0;
}
