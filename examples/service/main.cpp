// Requests and answers are lines. One thread does all the work; others only wake it.
#include <signal.h>
#include <sys/eventfd.h>
#include <sysexits.h>

#include <atomic>
#include <optional>

#include <vorn/common/time/ClockAlignedTimer.h>

#include "Check.h"
#include "Settings.h"

int wakeUp = -1;  // ends the wait in poll
const auto wake = [] { ::eventfd_write(wakeUp, 1); };
std::atomic<bool> stopping = false, reportDue = false;

void catchSignals() {
    wakeUp = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    // Handlers, and no blocked mask: scripts inherit the mask, and would not hear SIGTERM either.
    struct sigaction action {};
    action.sa_handler = [](int) { stopping = true, wake(); };
    action.sa_flags = SA_RESETHAND;  // a second one ends the service at once
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    ::signal(SIGPIPE, [](int) {});  // caught: ignored, it would be so for the scripts too
    ::signal(SIGCHLD, SIG_DFL);     // an inherited SIG_IGN would take the exit codes away
}

class Service {
  public:
    explicit Service(const Arguments& arguments) : arguments_(arguments) {
        settings_.load(arguments_.settings);
        report_.start();
    }

    void run() {
        log("ready");
        while (check_ || !stopping) {  // a check is waited for: its time is limited
            pollfd polled[]{{wakeUp, POLLIN, 0}, {stopping ? -1 : STDIN_FILENO, POLLIN, 0}};
            ::poll(polled, 2, -1);
            eventfd_t wakes = 0;
            ::eventfd_read(wakeUp, &wakes);
            if (polled[1].revents != 0) {
                readRequests();
            }
            if (check_ && check_->ended()) {
                lastCheck_ = check_->result();
                check_.reset();
                answer("check " + lastCheck_);
            }
            if (reportDue.exchange(false)) {
                log("report: " + handle("status"));
            }
        }
    }

  private:
    void readRequests() {
        char block[4096];
        const ssize_t count = ::read(STDIN_FILENO, block, sizeof block);
        stopping = stopping || count <= 0;
        for (ssize_t i = 0; i < count && !stopping; ++i) {
            if (block[i] == '\n') {
                answer(handle(std::exchange(line_, "")));
            } else if (line_.size() < kTooLong) {
                line_ += block[i];
            }
        }
    }

    std::string handle(const std::string& line) try {
        if (line == "status") {
            return "ok label=" + settings_.label + ", last check: " + lastCheck_;
        }
        if (line == "check" && !check_) {
            check_.emplace(arguments_.script, std::chrono::seconds(arguments_.timeout), wake);
        } else if (line.compare(0, 6, "label ") == 0 && line.size() < kTooLong) {
            Settings changed = settings_;
            changed.label = line.substr(6);
            changed.store(arguments_.settings);
            settings_ = changed;
        } else {
            return "error known are status, check (one at a time), label TEXT (short)";
        }
        return "ok";
    } catch (const std::exception& error) {
        return std::string("error ") + error.what();
    }

    /// Waits for a reader; while there is none no request is taken. A signal ends the wait.
    static void answer(const std::string& text) {
        const std::string line = asLine(text);
        if (::write(STDOUT_FILENO, line.data(), line.size()) < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "answers cannot be written");
        }
    }

    static constexpr std::size_t kTooLong = 100;
    const Arguments arguments_;
    Settings settings_;
    std::optional<Check> check_;
    std::string line_, lastCheck_ = "none";
    vorn::common::time::ClockAlignedTimer report_{[](auto) { reportDue = true, wake(); },
                                                  std::chrono::seconds(arguments_.report)};
};

int main(int argc, char** argv) {
    openStandardDescriptors();
    if (argc != 2 || *argv[1] == '-') {
        log("usage: first-service CONFIGURATION.json");
        return EX_USAGE;
    }
    int exitCode = EX_CONFIG;  // a restart would not help
    try {
        const Arguments arguments = loadArguments(argv[1]);
        takeIdentity(arguments);
        exitCode = EX_UNAVAILABLE;
        catchSignals();
        Service(arguments).run();
        return EX_OK;
    } catch (const std::exception& error) {
        log(error.what());
        return exitCode;
    }
}
