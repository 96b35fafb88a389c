#include "identity.h"

#include <fcntl.h>
#include <sys/capability.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vorn/common/service/ProcessAttributes.h>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "Log.h"
#include "descriptors.h"

namespace gateway {

namespace {

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
    const std::string directory = std::filesystem::path(socket).parent_path().string();
    if (directory.empty()) {
        return "";
    }
    if (::mkdir(directory.c_str(), kDirectoryMode) == 0) {
        ::chmod(directory.c_str(), kDirectoryMode);  // whatever the umask
        return directory;
    }
    if (errno != EEXIST) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot make the directory \"" + directory + "\"");
    }
    return "";
}

void keepForWritingOnly(int stream) {
    const std::string name = "/proc/self/fd/" + std::to_string(stream);
    const FileDescriptor opened(::open(name.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
    if (opened) {
        ::dup2(opened.get(), stream);
    }
}

void giveUpTerminal() {
    const FileDescriptor terminal(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (terminal) {
        ::ioctl(terminal.get(), TIOCNOTTY);
    }
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        if (::isatty(stream) != 0) {
            keepForWritingOnly(stream);
        }
    }
}

}  // namespace

void takeIdentity(const Configuration& configuration) {
    const std::string made = makeDirectoryOf(configuration.socket);
    const std::string stays = ", stays user " + std::to_string(::geteuid());
    if (configuration.user.empty()) {
        log::info("no identity is configured" + stays);
    } else if (::geteuid() != 0) {
        log::info("not started as root" + stays);
    } else {
        vorn::common::service::ProcessAttrs identity;
        identity.user = configuration.user;
        identity.group = configuration.group;
        identity.capabilities = capabilitiesOf(configuration.capabilities);
        giveUpTerminal();
        vorn::common::service::setProcessAttributes(identity, made);
        log::info("now user " + configuration.user + ", group " + configuration.group);
    }
}

}  // namespace gateway
