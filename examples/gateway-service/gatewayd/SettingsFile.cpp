// SPDX-License-Identifier: MIT
#include "SettingsFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <vorn/common/fs/tools.h>

#include "Log.h"
#include "descriptors.h"

namespace gateway {

using vorn::common::stream::IOutputStreamAccessor;
using vorn::common::stream::IStreamable;

namespace {

constexpr std::size_t kMostContent = std::size_t{1} << 20U;
constexpr unsigned kMostAside = 99;
constexpr std::chrono::milliseconds kSoon(100);

std::string backupOf(const std::string& path) {
    return path + ".bak";
}

[[noreturn]] void fail(const std::string& what) {
    const int error = errno;
    throw std::runtime_error(what + ": " + std::strerror(error));
}

// Whether there is a file. Throws for anything else, above all a directory, which a rename would
// move as gladly as a file.
bool isThere(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return false;
        }
        fail("cannot look at \"" + path + "\"");
    }
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error("\"" + path + "\" is no regular file");
    }
    return true;
}

std::string contentOf(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file) {
        fail("cannot open \"" + path + "\"");
    }
    std::string content;
    for (;;) {
        char block[4096];
        const ssize_t count = ::read(file.get(), block, sizeof block);
        if (count == 0) {
            return content;
        }
        if (count > 0) {
            content.append(block, static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            fail("cannot read \"" + path + "\"");
        }
        if (content.size() > kMostContent) {
            return content;  // cut off: what is larger than any settings does not load
        }
    }
}

// Empty when the content loads, else what is wrong with it.
std::string load(IStreamable& object, const std::string& content) {
    try {
        std::istringstream stream(content);
        return object.deserialize(stream) ? "" : "it holds no settings";
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        return error.what();
    }
}

std::string freeNameAside(const std::string& path) {
    for (unsigned number = 1; number <= kMostAside; ++number) {
        std::string name = path + ".unreadable" + (number == 1 ? "" : "." + std::to_string(number));
        if (::access(name.c_str(), F_OK) != 0) {
            return name;
        }
    }
    throw std::runtime_error("too many unreadable copies of \"" + path + "\" are kept");
}

void write(const std::string& path, const std::string& content) {
    ::unlink(path.c_str());
    const FileDescriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file) {
        fail("cannot create \"" + path + "\"");
    }
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count =
            ::write(file.get(), content.data() + written, content.size() - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            fail("cannot write \"" + path + "\"");
        }
    }
    if (::fsync(file.get()) != 0) {
        fail("cannot write \"" + path + "\"");
    }
}

void synchroniseDirectoryOf(const std::string& path) {
    const std::filesystem::path directory = std::filesystem::path(path).parent_path();
    const FileDescriptor opened(
        ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened || ::fsync(opened.get()) != 0) {
        fail("cannot write the directory of \"" + path + "\"");
    }
}

}  // namespace

std::string loadKept(IStreamable& object, const std::string& path) {
    std::string trouble;
    for (const std::string& name : {path, backupOf(path)}) {
        if (!isThere(name)) {
            continue;
        }
        const std::string wrong = load(object, contentOf(name));
        if (wrong.empty()) {
            return trouble;
        }
        const std::string aside = freeNameAside(name);
        const bool kept = ::rename(name.c_str(), aside.c_str()) == 0;
        trouble += (trouble.empty() ? "" : "; ") + ("\"" + name + "\": " + wrong) +
                   (kept ? ", kept as \"" + aside + "\"" : ", and it cannot be renamed");
    }
    return trouble;
}

void storeKept(const std::string& path, const std::string& content) {
    const std::string next = path + ".new";
    const bool replaces = isThere(path);
    try {
        write(next, content);
        if (contentOf(next) != content) {
            throw std::runtime_error("\"" + next + "\" cannot be read back");
        }
        if (replaces && ::rename(path.c_str(), backupOf(path).c_str()) != 0) {
            fail("cannot rename \"" + path + "\"");
        }
        if (::rename(next.c_str(), path.c_str()) != 0) {
            const int error = errno;
            if (replaces) {
                ::rename(backupOf(path).c_str(), path.c_str());
            }
            errno = error;
            fail("cannot rename \"" + next + "\"");
        }
    } catch (const std::exception&) {
        ::unlink(next.c_str());
        throw;
    }
    synchroniseDirectoryOf(path);
}

/// One writing of the settings.
class SettingsFile::Writing : public IOutputStreamAccessor {
  public:
    explicit Writing(SettingsFile& file) : file_(file) {}

    [[nodiscard]] std::ostream& stream() override { return buffer_; }
    // The handler swallows exceptions, so the outcome is noted.
    void commit() override {
        if (buffer_.good()) {
            file_.store(buffer_.str());
        }
    }

  private:
    SettingsFile& file_;
    std::ostringstream buffer_;
};

SettingsFile::SettingsFile(const std::string& path, std::chrono::seconds delay, OnTrouble onTrouble)
    : path_(path),
      delay_(delay),
      onTrouble_(std::move(onTrouble)),
      handler_(
          std::make_unique<Settings>(),
          [this]() -> std::unique_ptr<IOutputStreamAccessor> {
              trouble_ = "there is not enough memory";  // unless it gets further
              return std::make_unique<Writing>(*this);
          },
          static_cast<Observer&>(*this), delay),
      timer_([this] { writeDue(); }, delay, vorn::common::time::Recurrence::OneShot) {
    try {
        lock_.emplace(path + ".lock");
    } catch (const std::system_error& error) {
        // Where not even that file can be made, nothing can be stored: settings hold as found.
        foundTrouble_ = error.what();
    }
    auto locked = handler_.lock();
    auto& settings = dynamic_cast<Settings&>(locked.get());
    const std::string wrong = loadKept(settings, path);
    if (!wrong.empty()) {
        foundTrouble_ = wrong;
    } else if (!settings.misread.empty()) {
        const std::string aside = freeNameAside(path);
        const bool kept = vorn::common::fs::tools::copyFile(path, aside);
        foundTrouble_ = "\"" + path + "\" has values that make no sense (" + settings.misread +
                        ")" + (kept ? ", a copy is kept as \"" + aside + "\"" : "");
    }
    if (!foundTrouble_.empty()) {
        log::error("settings: " + foundTrouble_);
    }
}

void SettingsFile::read(const std::function<void(const Settings&)>& reader) {
    auto locked = handler_.lock();
    reader(dynamic_cast<const Settings&>(locked.get()));
}

void SettingsFile::change(const std::function<void(Settings&)>& changer) {
    auto locked = handler_.lock();
    changer(dynamic_cast<Settings&>(locked.get()));
    locked.write();
}

void SettingsFile::changeNow(const std::function<void(Settings&)>& changer) {
    auto locked = handler_.lock();
    auto& settings = dynamic_cast<Settings&>(locked.get());
    const Settings before = settings;
    changer(settings);
    locked.write();
    locked.flush();
    tell(trouble_);
    if (!trouble_.empty()) {
        settings = before;
        locked.write();  // what a former change may still want written
        throw std::runtime_error("the settings cannot be stored: " + trouble_);
    }
}

void SettingsFile::flush() {
    auto locked = handler_.lock();
    locked.flush();
    tell(trouble_);
}

void SettingsFile::onRunTimepointChange() {
    if (!timer_.isRunning()) {
        wakeIn(delay_);
    }
}

void SettingsFile::wakeIn(std::chrono::milliseconds time) {
    std::unique_lock lock(timer_.mutex());
    timer_.setPeriod(std::clamp(time, kSoon, delay_), lock);
    timer_.start(lock);
}

// On the timer's thread, which an exception would end with the process.
void SettingsFile::writeDue() {
    try {
        const auto next = handler_.run();
        auto locked = handler_.lock();
        tell(trouble_);
        if (!trouble_.empty()) {
            locked.write();  // the handler has dropped it: again
        } else if (next != std::chrono::steady_clock::time_point::max()) {
            wakeIn(std::chrono::ceil<std::chrono::milliseconds>(next -
                                                                std::chrono::steady_clock::now()));
        }
    } catch (const std::exception& error) {
        log::error(std::string("settings: ") + error.what());
    }
}

void SettingsFile::store(const std::string& content) {
    try {
        storeKept(path_, content);
        trouble_.clear();
    } catch (const std::exception& error) {
        trouble_ = error.what();
    }
}

void SettingsFile::tell(const std::string& trouble) {
    if (trouble != toldTrouble_) {
        toldTrouble_ = trouble;
        log::error("settings: " + (trouble.empty() ? "they can be stored again" : trouble));
        onTrouble_(trouble);
    }
}

}  // namespace gateway
