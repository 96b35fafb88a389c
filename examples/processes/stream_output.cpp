// SPDX-License-Identifier: MIT

// Takes both outputs of a program while it runs: however much it writes and whatever it leaves
// behind, it costs no more memory than was meant and no more time than its limit.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <iostream>
#include <string>
#include <system_error>

#include <vorn/common/executable/Executable.h>

using vorn::common::executable::Executable;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::chrono::milliseconds kLook{100};
constexpr std::size_t kMostKept = 20;

// A description of our own, which does not wait: the child holds the read ends of its pipes too,
// and may be faster than we are.
int reopened(int pipe) {
    const std::string name = "/proc/self/fd/" + std::to_string(pipe);
    const int own = ::open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (own < 0) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return own;
}

struct Output {
    explicit Output(int end) : opened(reopened(end)), pipe(opened) {}
    ~Output() { ::close(opened); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    const int opened;
    int pipe;               // -1 at its end
    std::string text{};     // the first kMostKept bytes
    std::size_t bytes = 0;  // how many there were
};

// Reads one block, and returns whether there may be more now. What is beyond the limit is read all
// the same, so that the program never waits. At the end of the output the pipe is -1, which poll
// leaves out.
bool take(Output& output) {
    std::array<char, 4096> block;
    const ssize_t count = ::read(output.pipe, block.data(), block.size());
    if (count > 0) {
        const auto size = static_cast<std::size_t>(count);
        output.bytes += size;
        output.text.append(block.data(), std::min(size, kMostKept - output.text.size()));
        return true;
    }
    if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        output.pipe = -1;
    }
    return count < 0 && errno == EINTR;
}

// The rest that an ended program wrote. Somebody whom it left behind may hold the pipe open, and
// write into it, for ever: so no more than what stands in it now.
void takeRest(Output& output) {
    int waiting = 0;
    if (output.pipe >= 0 && ::ioctl(output.pipe, FIONREAD, &waiting) == 0) {
        const std::size_t end = output.bytes + static_cast<std::size_t>(waiting);
        while (output.bytes < end && take(output)) {
        }
    }
}

bool hasEnded(pid_t child) {
    siginfo_t info{};
    // WNOWAIT: until it is reaped, the id is the child's own and may be signalled.
    return ::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == child;
}

void print(const char* name, const Output& output) {
    std::cout << "  " << output.bytes << " bytes of " << name << ": \""
              << output.text.substr(0, output.text.find('\n')) << "\"...\n";
}

void run(const std::string& shellText, std::chrono::milliseconds limit) {
    const auto pipes = std::make_shared<Executable::Pipes>();
    const pid_t child = Executable::prepareEnvAndExec(
        {"/bin/sh", "-c", shellText}, pipes,
        {.environment = {"PATH=/bin:/usr/bin"}, .ownProcessGroup = true});
    pipes->closeWriting();  // ours; without it the outputs would never end

    Output out(pipes->out[0]);
    Output err(pipes->err[0]);
    const auto deadline = Clock::now() + limit;
    while (!hasEnded(child) && Clock::now() < deadline) {
        pollfd polled[] = {{out.pipe, POLLIN, 0}, {err.pipe, POLLIN, 0}};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        const auto wait = std::clamp(left, std::chrono::milliseconds(0), kLook);
        if (::poll(polled, 2, static_cast<int>(wait.count())) > 0) {
            if (polled[0].revents != 0) {
                take(out);
            }
            if (polled[1].revents != 0) {
                take(err);
            }
        }
    }
    const bool timedOut = !hasEnded(child);
    if (timedOut) {
        ::kill(-child, SIGKILL);  // its whole process group,
        ::kill(child, SIGKILL);   // which it may have left
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    takeRest(out);
    takeRest(err);

    if (timedOut) {
        std::cout << "stopped at its time limit\n";
    } else if (WIFEXITED(status)) {
        std::cout << "ended with exit status " << WEXITSTATUS(status) << "\n";
    } else {
        std::cout << "ended by signal " << WTERMSIG(status) << "\n";
    }
    print("output", out);
    print("errors", err);
}

}  // namespace

int main() {
    // Each output is larger than a pipe holds.
    run("seq 1 100000; seq 5 50005 >&2; exit 3", std::chrono::minutes(1));
    // What it leaves behind keeps both pipes open.
    run("echo first; sleep 150 & exit 0", std::chrono::minutes(1));
    // It never ends.
    run("echo waiting >&2; exec sleep 1000", std::chrono::seconds(4));
}
