// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/capability.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <vorn/common/service/ProcessAttributes.h>

#include "Configuration.h"
#include "Log.h"
#include "Service.h"
#include "process.h"

namespace {

constexpr const char* kUsage = R"(usage: gatewayd CONFIG.json

Runs shell scripts and programs on request over a Unix-domain socket until SIGTERM or SIGINT. Jobs
that run then have the configured time to end; a second signal ends them at once. SIGHUP reads the
configuration again. Stays in the foreground and logs on the standard error stream; its scripts
write to its standard output.

  -h, --help     show this text
  -V, --version  show the version

exit status: 0 after a signal, 1 when it cannot start or end in good order, 2 for wrong usage
)";

// For the service itself, and for each job: two pipes, each opened twice, its process and a way to
// wake its thread.
constexpr rlim_t kReservedDescriptors = 32;
constexpr rlim_t kDescriptorsOfAJob = 8;
constexpr mode_t kDirectoryMode = 0750;

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
    std::string directory = std::filesystem::path(socket).parent_path().string();
    if (directory.empty()) {
        return "";
    }
    if (::mkdir(directory.c_str(), kDirectoryMode) == 0) {
        ::chmod(directory.c_str(), kDirectoryMode);  // whatever the umask
        return directory;
    }
    if (errno != EEXIST) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot make the directory \"" + directory +
                                    "\" of the socket (\"socket\" in the configuration, or "
                                    "GATEWAYD_SOCKET, names another)");
    }
    return "";
}

void keepForWritingOnly(int stream) {
    const std::string name = "/proc/self/fd/" + std::to_string(stream);
    const gateway::FileDescriptor opened(::open(name.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
    if (opened) {
        ::dup2(opened.get(), stream);
    }
}

void giveUpTerminal() {
    const gateway::FileDescriptor terminal(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (terminal) {
        ::ioctl(terminal.get(), TIOCNOTTY);
    }
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        if (::isatty(stream) != 0) {
            keepForWritingOnly(stream);
        }
    }
}

// Makes the directory of the socket (permissions 0750) when it is missing and, as root, hands a
// directory that was made here to the configured user, then becomes that user, keeping the
// configured capabilities. An existing directory keeps its owner and permissions. Without root, or
// without a configured identity, the process stays who it is; the log says so.
//
// Who becomes another user gives up the controlling terminal, and keeps its standard output and
// errors for writing only: the scripts of that user could else put characters into root's shell,
// or read what root types.
//
// Call it before any thread exists: an identity belongs to a thread. Throws
// `vorn::common::service::ServiceError`, `std::runtime_error` or `std::system_error`; the process
// must then end, because the change may be half made.
void takeIdentity(const gateway::Configuration& configuration) {
    const std::string made = makeDirectoryOf(configuration.socket);
    const std::string stays = ", stays user " + std::to_string(::geteuid());
    if (configuration.user.empty()) {
        gateway::log::info("no identity is configured" + stays);
    } else if (::geteuid() != 0) {
        gateway::log::info("not started as root" + stays);
    } else {
        vorn::common::service::ProcessAttrs identity;
        identity.user = configuration.user;
        identity.group = configuration.group;
        identity.capabilities = capabilitiesOf(configuration.capabilities);
        giveUpTerminal();
        vorn::common::service::setProcessAttributes(identity, made);
        gateway::log::info("now user " + configuration.user + ", group " + configuration.group);
    }
}

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
    takeIdentity(parts.configuration);
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
    try {
        const bool clean = service.run();
        gateway::log::info(clean ? "ended" : "ends without its jobs");
        gateway::log::flush(200);
        if (clean) {
            return 0;
        }
    } catch (const std::exception&) {
        // Not even enough memory to say so.
    }
    socket.remove();
    ::_exit(1);  // the service's end would wait for the jobs
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
