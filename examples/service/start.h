#pragma once
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <vorn/common/TypedArgs.h>
#include <vorn/common/fs/tools.h>
#include <vorn/common/service/ProcessAttributes.h>

/// A file opened while 0, 1 or 2 is closed would land there, and whoever prints write into it.
inline void openStandardDescriptors() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = ::open("/dev/null", O_RDWR);
    }
    ::close(fd);
}

/// One bounded line: what a script or a file says must not pass for lines of the service.
inline std::string asLine(const std::string& text) {
    std::string line = text.substr(0, 1000) + '\n';
    std::replace_if(
        line.begin(), line.end() - 1, [](char c) { return c < ' ' || c > '~'; }, ' ');
    return line;
}

/// Drops the text while the reader of the log is behind: that must not stop the service.
inline void log(const std::string& text) {
    const std::string line = asLine("first-service: " + text);
    pollfd polled{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&polled, 1, 0) == 1) {
        [[maybe_unused]] const auto lost = ::write(STDERR_FILENO, line.data(), line.size());
    }
}

/// Reads up to 64 KiB. What has no size (a device, a pipe) is refused, not waited for.
inline std::string readSmallFile(const std::string& path) {
    std::error_code error;
    if (const auto size = std::filesystem::file_size(path, error); error || size > 65536) {
        throw std::runtime_error(error ? error.message() : "larger than 64 KiB");
    }
    return vorn::common::fs::tools::readFile(path);
}

struct Arguments {
    std::string user, group, settings, script;
    unsigned timeout, report;  // seconds
};

template <class T>
T argument(const vorn::common::Args& args, const std::string& name) {
    constexpr bool kNumber = std::is_same_v<T, unsigned>;
    const auto found = args.find(name);
    const std::string text = found == args.end() ? "missing" : found->second;
    // Escapes would stay as they are written, and of 12.9 or 12abc the 12 be taken.
    if (kNumber ? text.find_first_not_of("0123456789") != text.npos || text == "0"
                : text[0] != '"' || text.find('\\') != text.npos) {
        throw std::invalid_argument(name + (kNumber ? ": a number above 0" : ": a plain text") +
                                    " is expected, not " + text);
    }
    return vorn::common::GetTypedArgHelper<T>::get(text);
}

inline Arguments loadArguments(const std::string& path) try {
    // As an array: behind a bare value the reader would not look at what follows.
    const vorn::common::lwjson::Deserializer document('[' + readSmallFile(path) + ']');
    const auto args = vorn::common::loadArgs(document[0]);
    if (document.members().size() != 1 || document[0].members().size() != 6 || args.size() != 6) {
        throw std::invalid_argument("user, group, settings, script, timeout, report are expected");
    }
    return {argument<std::string>(args, "user"),     argument<std::string>(args, "group"),
            argument<std::string>(args, "settings"), argument<std::string>(args, "script"),
            argument<unsigned>(args, "timeout"),     argument<unsigned>(args, "report")};
} catch (const std::exception& error) {
    throw std::runtime_error(path + ": " + error.what());
}

/// Call it before the first thread: others would keep the capabilities of root.
inline void takeIdentity(const Arguments& arguments) {
    ::umask(0077);
    if (::geteuid() == 0) {
        // No file is handed over: root would follow a link that the user has put in its place.
        vorn::common::service::setProcessAttributes({arguments.user, arguments.group, {}}, "");
        // Scripts must not type commands into the terminal of root. (Its session's leader keeps
        // it.)
        const int terminal = ::getsid(0) == ::getpid() ? -1 : ::open("/dev/tty", O_RDWR);
        ::ioctl(terminal, TIOCNOTTY);
        ::close(terminal);
    }
}
