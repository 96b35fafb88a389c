// SPDX-License-Identifier: MIT
#include "Programs.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <vorn/common/executable/Executable.h>

#include "descriptors.h"

namespace gateway {

using vorn::common::Uuid;
using vorn::common::executable::Executable;

namespace {

using Clock = std::chrono::steady_clock;

// How often a process is looked at where the kernel cannot wake a poll at its end (before 5.3).
constexpr std::chrono::milliseconds kLook(50);
// How long a killed process is waited for before its end is told: one that waits for a device
// cannot be killed.
constexpr std::chrono::seconds kKillTime(1);

// A description of our own: the program holds the read ends of its pipes too, may read what was
// polled here, and may make what it shares wait.
FileDescriptor reopened(int pipe) {
    const std::string name = "/proc/self/fd/" + std::to_string(pipe);
    FileDescriptor own(::open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!own) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return own;
}

/// One of a program's outputs, as it comes.
class Capture {
  public:
    explicit Capture(int pipe) : pipe_(reopened(pipe)) {}

    [[nodiscard]] pollfd polled() const { return {pipe_.get(), POLLIN, 0}; }

    /// Takes one block, if there is one. At the end of the output nothing is polled any more.
    /// Returns whether there may be more now.
    bool take() {
        std::array<char, 16384> block;
        const ssize_t count = ::read(pipe_.get(), block.data(), block.size());
        if (count > 0) {
            const auto size = static_cast<std::size_t>(count);
            const std::size_t room = kMostOutput - output_.text.size();
            output_.text.append(block.data(), std::min(size, room));
            output_.cut = output_.cut || size > room;
            bytes_ += size;
            return true;
        }
        if (count < 0 && errno == EAGAIN) {
            return false;  // somebody else was faster
        }
        if (count == 0 || errno != EINTR) {
            pipe_ = FileDescriptor();
            return false;
        }
        return true;
    }

    /// Takes what stands in the pipe now, and not what somebody goes on writing into it.
    void takeRest() {
        int waiting = 0;
        if (pipe_ && ::ioctl(pipe_.get(), FIONREAD, &waiting) == 0) {
            const std::size_t end = bytes_ + static_cast<std::size_t>(waiting);
            while (bytes_ < end && take()) {
            }
        }
    }

    [[nodiscard]] Output output() && { return std::move(output_); }

  private:
    FileDescriptor pipe_;
    Output output_;
    std::size_t bytes_ = 0;
};

}  // namespace

/// A program and its process. The thread that follows it is the only one that starts, signals and
/// reaps it.
class Programs::Running {
  public:
    explicit Running(const ExecRequest& request)
        : uuid(request.uuid), request_(request), deadline_(Clock::now() + request.timeout) {}

    /// The start and the end of it.
    JobEnd run() {
        JobEnd end{uuid, JobEnd::How::Cancelled, {}, Output{}, Output{}};
        if (stop_.clear() != 0) {
            return end;
        }
        try {
            start();
        } catch (const std::exception& error) {
            end.how = JobEnd::How::Failed;
            end.errors->text =
                "cannot execute \"" + request_.program[0] + "\": " + error.what() + "\n";
            return end;
        }
        return waitForEnd();
    }

    /// Kills it with its group, and with itself when it has left that.
    void kill() const {
        if (process_ > 0) {
            ::kill(-process_, SIGKILL);
            ::kill(process_, SIGKILL);
        }
    }

    /// Gives its number back to the system. Waits for a process that has been killed.
    void reap() const {
        while (process_ > 0 && ::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }

    /// Wakes whoever follows it. From any thread.
    void stop() { stop_.set(); }

    const Uuid uuid;

  private:
    void start() {
        const std::string& path = request_.program[0];
        // Root may "execute" any directory, and the child could not tell why it failed.
        std::error_code ignored;
        const bool directory = std::filesystem::is_directory(path, ignored);
        if (directory || ::access(path.c_str(), X_OK) != 0) {
            throw std::runtime_error(std::strerror(directory ? EISDIR : errno));
        }
        Executable::Params params;
        params.environment = request_.environment;
        params.ownProcessGroup = true;
        process_ = Executable::prepareEnvAndExec(request_.program, pipes_, params);
        pipes_->closeWriting();
        descriptor_ = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process_, 0)));
    }

    /// Takes the outputs until the process has ended, must end, or is asked to; a process that has
    /// not ended by then is killed with its group. Does not reap it.
    JobEnd waitForEnd() {
        Capture out(pipes_->out[0]);
        Capture err(pipes_->err[0]);
        JobEnd end;
        end.uuid = uuid;
        while (!hasEnded()) {
            if (stop_.clear() != 0) {
                end.how = JobEnd::How::Cancelled;
            } else if (Clock::now() >= deadline_) {
                end.how = JobEnd::How::TimedOut;
            } else {
                takeOnce(out, err, deadline_);
                continue;
            }
            kill();
            const auto latest = Clock::now() + kKillTime;
            while (!hasEnded() && Clock::now() < latest) {
                takeOnce(out, err, latest);
            }
            break;
        }
        out.takeRest();
        err.takeRest();
        if (end.how == JobEnd::How::Exited && killed_) {
            end.how = JobEnd::How::Killed;
        } else if (end.how == JobEnd::How::Exited) {
            end.exitCode = exitCode_;
        }
        end.output = std::move(out).output();
        end.errors = std::move(err).output();
        return end;
    }

    // WNOWAIT: as long as it is not reaped, its number cannot become that of another process.
    bool hasEnded() {
        siginfo_t info{};
        if (::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) != 0) {
            return errno != EINTR;
        }
        exitCode_ = info.si_status;
        killed_ = info.si_code != CLD_EXITED;
        return info.si_pid == process_;
    }

    void takeOnce(Capture& out, Capture& err, Clock::time_point latest) const {
        pollfd polled[] = {
            out.polled(), err.polled(), {stop_.get(), POLLIN, 0}, {descriptor_.get(), POLLIN, 0}};
        auto wait = std::chrono::ceil<std::chrono::milliseconds>(latest - Clock::now());
        wait = std::clamp(wait, std::chrono::milliseconds(0),
                          descriptor_ ? std::chrono::milliseconds(std::chrono::hours(1)) : kLook);
        if (::poll(polled, 4, static_cast<int>(wait.count())) > 0) {
            if (polled[0].revents != 0) {
                out.take();
            }
            if (polled[1].revents != 0) {
                err.take();
            }
        }
    }

    const ExecRequest request_;
    const Clock::time_point deadline_;
    EventDescriptor stop_;
    std::shared_ptr<Executable::Pipes> pipes_ = std::make_shared<Executable::Pipes>();
    pid_t process_ = -1;
    FileDescriptor descriptor_;  // readable when the process has ended; none on an old kernel
    int exitCode_ = 0;
    bool killed_ = false;
};

Programs::Programs(unsigned most, std::function<void(JobEnd)> onEnd,
                   std::function<void(const Uuid&)> onFree)
    : onEnd_(std::move(onEnd)), onFree_(std::move(onFree)), followers_(most) {}

Programs::~Programs() {
    std::unique_lock lock(followers_.mutex());
    followers_.stateChanged().wait(lock, [&] { return followers_._isIdle(lock); });
}

void Programs::start(const ExecRequest& request) {
    const std::string name = request.uuid.to_string();
    const auto running = std::make_shared<Running>(request);
    try {
        {
            const std::lock_guard lock(mutex_);
            running_[name] = running;
        }
        followers_._emplaceTask([this, running] { follow(*running); });
    } catch (const std::exception&) {
        const std::lock_guard lock(mutex_);
        running_.erase(name);
        throw;
    }
}

void Programs::stop(const Uuid& uuid) {
    const std::lock_guard lock(mutex_);
    if (const auto found = running_.find(uuid.to_string()); found != running_.end()) {
        found->second->stop();
    }
}

// An exception would end the process.
void Programs::follow(Running& running) {
    try {
        onEnd_(running.run());
    } catch (const std::exception&) {
        running.kill();
        onEnd_({running.uuid, JobEnd::How::Killed});
    }
    running.reap();
    {
        const std::lock_guard lock(mutex_);
        running_.erase(running.uuid.to_string());
    }
    onFree_(running.uuid);
}

}  // namespace gateway
