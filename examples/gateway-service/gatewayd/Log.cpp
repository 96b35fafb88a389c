// SPDX-License-Identifier: MIT
#include "Log.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <mutex>

#include "descriptors.h"
#include "json.h"

namespace gateway::log {

namespace {

constexpr std::size_t kMostKept = 65536;

/// The standard error stream, as it is to be written to.
class Stream {
  public:
    void open() {
        struct stat status {};
        if (::fstat(STDERR_FILENO, &status) != 0) {
            return;
        }
        isSocket_ = S_ISSOCK(status.st_mode);
        // A description of our own: the mode would else be that of everybody who shares the pipe
        // or terminal, our scripts first of all.
        if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) {
            own_ = FileDescriptor(
                ::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
            mayWait_ = !own_;
        }
    }

    [[nodiscard]] int get() const { return own_ ? own_.get() : STDERR_FILENO; }

    ssize_t write(const std::string& bytes) const {
        if (isSocket_) {
            return ::send(get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        }
        // A pipe of somebody else's cannot be reopened, but what is ready for writing has room for
        // so much: a writer that comes between is the only one that can still make this wait.
        if (mayWait_ && !isReady()) {
            errno = EAGAIN;
            return -1;
        }
        const std::size_t size =
            std::min<std::size_t>(bytes.size(), mayWait_ ? PIPE_BUF : SIZE_MAX);
        return ::write(get(), bytes.data(), size);
    }

  private:
    [[nodiscard]] bool isReady() const {
        pollfd polled{get(), POLLOUT, 0};
        return ::poll(&polled, 1, 0) > 0;
    }

    bool mayWait_ = false;
    FileDescriptor own_;
    bool isSocket_ = false;
};

std::mutex mutex;
Stream stream;              // guarded by mutex, as all below
Level most = Level::Info;   //
std::string kept;           // whole lines, save that the first may have begun to go out
unsigned long dropped = 0;  // lines

std::string lineOf(const std::string& text) {
    return "gatewayd: " + printable(text, '.') + "\n";
}

// Writes what goes without waiting. What the stream refuses for good is dropped.
void writeKept() {
    while (!kept.empty()) {
        const ssize_t count = stream.write(kept);
        if (count > 0) {
            kept.erase(0, static_cast<std::size_t>(count));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return;
        } else if (errno != EINTR) {
            kept.clear();
        }
        if (dropped > 0 && kept.size() < kMostKept / 2) {
            kept += lineOf(std::to_string(dropped) + " log lines were lost here");
            dropped = 0;
        }
    }
}

void write(Level level, const std::string& text) {
    const std::lock_guard lock(mutex);
    if (level > most) {
        return;
    }
    const std::string line = lineOf(text);
    writeKept();
    if (dropped > 0 || kept.size() + line.size() > kMostKept) {
        ++dropped;
        return;
    }
    kept += line;
    writeKept();
}

}  // namespace

std::optional<Level> levelFrom(const std::string& name) {
    constexpr const char* names[] = {"error", "warning", "info", "debug"};
    for (int level = 0; level < 4; ++level) {
        if (name == names[level]) {
            return static_cast<Level>(level);
        }
    }
    return std::nullopt;
}

void open() {
    const std::lock_guard lock(mutex);
    stream.open();
}

void setLevel(Level level) {
    const std::lock_guard lock(mutex);
    most = level;
}

void error(const std::string& text) {
    write(Level::Error, text);
}

void warning(const std::string& text) {
    write(Level::Warning, text);
}

void info(const std::string& text) {
    write(Level::Info, text);
}

void debug(const std::string& text) {
    write(Level::Debug, text);
}

void flush(int milliseconds) {
    const std::lock_guard lock(mutex);
    writeKept();
    if (!kept.empty() && milliseconds > 0) {
        pollfd polled{stream.get(), POLLOUT, 0};
        ::poll(&polled, 1, milliseconds);
        writeKept();
    }
}

}  // namespace gateway::log
