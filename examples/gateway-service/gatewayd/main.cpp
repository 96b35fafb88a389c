#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>

#include "Configuration.h"
#include "Log.h"
#include "Service.h"
#include "identity.h"
#include "process.h"

namespace {

constexpr const char* kUsage =
    "usage: gatewayd CONFIG.json\n"
    "\n"
    "Runs shell scripts and programs on request over a Unix-domain socket until SIGTERM or "
    "SIGINT.\n"
    "Jobs that run then have the configured time to end; a second signal ends them at once. "
    "SIGHUP\n"
    "reads the configuration again. Stays in the foreground and logs on the standard error "
    "stream;\n"
    "its scripts write to its standard output.\n"
    "\n"
    "  -h, --help     show this text\n"
    "  -V, --version  show the version\n"
    "\n"
    "exit status: 0 after a signal, 1 when it cannot start or end in good order, 2 for wrong "
    "usage\n";

// For the service itself, and for each job: two pipes, its process and a way to wake its thread.
constexpr rlim_t kReservedDescriptors = 32;
constexpr rlim_t kDescriptorsOfAJob = 6;

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
    const rlim_t jobs = configuration.jobLimit * kDescriptorsOfAJob;
    if (limit.rlim_cur != RLIM_INFINITY &&
        limit.rlim_cur < kReservedDescriptors + jobs + configuration.clientLimit) {
        throw std::runtime_error(std::to_string(configuration.clientLimit) + " clients and " +
                                 std::to_string(configuration.jobLimit) +
                                 " jobs are too many for a limit of " +
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

int serve(const std::string& file) {
    gateway::Service::Parts parts;
    parts.configurationFile = file;
    parts.configuration = gateway::loadConfiguration(file);
    gateway::log::setLevel(parts.configuration.log);
    checkDescriptors(parts.configuration);
    const gateway::EventDescriptor& stopSignal = gateway::catchStopSignals();
    const gateway::EventDescriptor& reloadSignal = gateway::catchReloadSignal();
    gateway::takeIdentity(parts.configuration);
    // The one that losing a terminal may have sent, and one that came before there was a service.
    reloadSignal.clear();
    closeStandardInput();

    if (!parts.configuration.plugins.empty()) {
        parts.plugins = vorn::common::loadDynamicLibraries(parts.configuration.plugins);
        parts.pluginsMissing = anyMissing(parts.configuration.plugins, parts.plugins);
    }
    const gateway::ListeningSocket socket(parts.configuration.socket);
    gateway::Service service(std::move(parts), {socket, stopSignal, reloadSignal});
    gateway::log::info("in service at " + socket.path());
    const bool clean = service.run();
    gateway::log::info(clean ? "ended" : "ends without a job that cannot be killed");
    gateway::log::flush(200);
    if (!clean) {
        socket.remove();
        ::_exit(1);  // the service's end would wait for that job
    }
    return 0;
}

int print(const std::string& text) {
    std::cout << text << std::flush;
    return std::cout.good() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    gateway::openStandardDescriptors();
    gateway::surviveBrokenPipes();
    const std::string argument = argc == 2 ? argv[1] : "";
    if (argument == "-h" || argument == "--help") {
        return print(kUsage);
    }
    if (argument == "-V" || argument == "--version") {
        return print("gatewayd " GATEWAY_VERSION "\n");
    }
    if (argument.empty() || argument[0] == '-') {
        std::cerr << kUsage;
        return 2;
    }
    gateway::log::open();
    try {
        return serve(argument);
    } catch (const std::exception& error) {
        gateway::log::error(error.what());
        gateway::log::flush(200);
        return 1;
    }
}
