// SPDX-License-Identifier: MIT
#include "ladders/Ladder.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <new>
#include <optional>
#include <typeinfo>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/faults/allocation.h"
#include "helpers/processes.h"
#include "helpers/wait_until.h"
#include "ladders/Calls.h"

namespace ladders {
namespace {

using helpers::waitUntil;

/// What a worker tells the test about; in shared memory, since the worker may die at any time.
struct Progress {
    std::atomic<int> step{0};     ///< the call that fails
    std::atomic<int> variant{0};  ///< once or from there on; which errno
    std::atomic<int> points{0};
    std::atomic<bool> done{false};
    std::atomic<bool> interposed{false};
    std::atomic<std::size_t> length{0};
    char failures[1 << 16];
    CallFault::State calls;

    void report(const std::string& failure) {
        const auto begin = length.load();
        const auto count = std::min(failure.size(), sizeof failures - begin);
        std::memcpy(failures + begin, failure.data(), count);
        length = begin + count;
    }
};

/// Everything that a run has to leave as it was.
struct Possessions {
    int descriptors = 0;
    std::ptrdiff_t threads = 0;
    bool children = false;
    std::ptrdiff_t blocks = 0;

    static Possessions now() {
        Possessions found;
        found.descriptors = static_cast<int>(helpers::openDescriptors().size());
        found.threads = std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
        found.children = helpers::hasChildren();
        found.blocks = faults::blocksAlive();
        return found;
    }

    /// What there is more (or less) than before, or "".
    [[nodiscard]] std::string differenceFrom(const Possessions& before) const {
        std::string text;
        const auto compare = [&](const char* name, std::ptrdiff_t now, std::ptrdiff_t then) {
            if (now != then) {
                text += std::string(text.empty() ? "" : ", ") + std::to_string(now - then) + " " +
                        name + " more than before";
            }
        };
        compare("descriptors", descriptors, before.descriptors);
        compare("threads", threads, before.threads);
        compare("children", children, before.children);
        compare("blocks", blocks, before.blocks);
        return text;
    }
};

class AllocationFault : public Fault {
  public:
    AllocationFault(int step, faults::NoMemory::Times times, faults::Threads threads)
        : step_(step), times_(times), threads_(threads) {}

    void begin() override {
        if (step_ > 0) {
            shortage_.emplace(static_cast<std::size_t>(step_), times_, threads_);
        }
    }
    void end() override {
        struck_ = shortage_ && shortage_->failures() > 0;
        shortage_.reset();
    }
    [[nodiscard]] bool struck() const override { return struck_; }
    [[nodiscard]] bool deniedMemory() const override { return struck_; }

  private:
    const int step_;
    const faults::NoMemory::Times times_;
    const faults::Threads threads_;
    std::optional<faults::NoMemory> shortage_;
    bool struck_ = false;
};

/// What is wrong with the error that an operation answered with, or "".
std::string judgeError(const Row& row, const Trial& trial, bool allocation, bool deniedMemory) {
    if (!trial.struck()) {
        return trial.threw() ? "threw without a reason: " + trial.text() : "";
    }
    const bool mustThrow = allocation && row.answer == Answer::Throws;
    if (!trial.threw()) {
        return mustThrow ? "threw nothing" : "";
    }
    if (trial.threwBadAlloc()) {
        return deniedMemory ? "" : "threw std::bad_alloc";
    }
    try {
        std::rethrow_exception(trial.error());
    } catch (const std::exception& error) {
        const bool stated = std::any_of(row.errors.begin(), row.errors.end(), [&](const auto& one) {
            return one.matches(error) && trial.text().starts_with(one.text);
        });
        return stated && !mustThrow
                   ? ""
                   : std::string("threw ") + typeid(error).name() + ": " + trial.text();
    }
}

/// Runs a row once; returns what is wrong, or "".
std::string judge(const Row& row, Fault& fault, bool allocation) {
    const auto before = Possessions::now();
    std::string failure;
    const auto add = [&](const std::string& text) {
        failure += text.empty() ? "" : (failure.empty() ? "" : "; ") + text;
    };
    try {
        Trial trial(fault);
        row.run(trial);
        add(trial.failure());
        add(judgeError(row, trial, allocation, fault.deniedMemory()));
    } catch (const std::exception& error) {
        fault.end();
        add(std::string("the check threw ") + error.what());
    }
    if (failure.empty()) {
        // A thread that was joined is listed a moment longer. The first time it is waited for as
        // long as a machine may stand still; what is left then is a finding, and the next may be,
        // too.
        static std::chrono::seconds patience{3};
        static_cast<void>(waitUntil(
            [&] {
                failure.clear();
                failure.shrink_to_fit();
                failure = Possessions::now().differenceFrom(before);
                return failure.empty();
            },
            patience));
        if (!failure.empty()) {
            patience = std::chrono::seconds(1);
        }
    }
    return failure;
}

void keepQuiet() {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    // Orphans come here, where they are seen.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
    const int nothing = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(nothing, STDERR_FILENO);
    ::close(nothing);
}

void reportFailure(Progress& progress, const Row& row, const std::string& place,
                   const std::string& failure) {
    if (!failure.empty()) {
        progress.report(row.name + ", " + place + ": " + failure + "\n");
    }
}

std::string allocationPlace(const Progress& progress) {
    return "allocation " + std::to_string(progress.step) +
           (progress.variant == 0 ? "" : " and all after it");
}

std::string callPlace(const Progress& progress) {
    std::string text = "system call " + std::to_string(progress.step);
    if (const int index = progress.calls.struck; index >= 0) {
        const auto& entry = callErrors()[static_cast<std::size_t>(index)];
        const auto error = static_cast<std::size_t>(progress.variant);
        text += std::string(" (") + entry.name +
                (error < entry.errors.size()
                     ? std::string(" with ") + ::strerrorname_np(entry.errors[error])
                     : "") +
                ")";
    }
    return text;
}

void warmUp(const Row& row, Progress& progress, Fault& fault) {
    static_cast<void>(judge(row, fault, false));  // makes what is made once
    const auto failure = judge(row, fault, false);
    if (progress.step == 1 && progress.variant == 0) {
        reportFailure(progress, row, "without any fault", failure);
    }
}

void climbAllocationsOf(const Row& row, Progress& progress) {
    using Times = faults::NoMemory::Times;
    AllocationFault none(0, Times::Once, row.threads);
    warmUp(row, progress, none);
    for (; progress.variant < 2; ++progress.variant, progress.step = 1) {
        for (;; ++progress.step) {
            AllocationFault fault(progress.step,
                                  progress.variant == 0 ? Times::Once : Times::FromThereOn,
                                  row.threads);
            const auto failure = judge(row, fault, true);
            reportFailure(progress, row, allocationPlace(progress), failure);
            if (!fault.struck()) {
                break;
            }
            ++progress.points;
        }
    }
    progress.done = true;
}

void climbCallsOf(const Row& row, Progress& progress) {
    CallFault* fault = helpers::kEmulated ? nullptr : CallFault::bySeccomp(progress.calls);
    if (fault == nullptr) {
        fault = CallFault::byInterposition(progress.calls);
        progress.interposed = true;
    }
    progress.calls.failingCall = 0;
    warmUp(row, progress, *fault);
    for (;; ++progress.step, progress.variant = 0) {
        // How many errors there are is known once the call has come.
        for (int errors = progress.variant + 1; progress.variant < errors; ++progress.variant) {
            progress.calls.failingCall = progress.step.load();
            progress.calls.failingError = progress.variant.load();
            const auto failure = judge(row, *fault, false);
            reportFailure(progress, row, callPlace(progress), failure);
            if (!fault->struck()) {
                progress.done = true;
                return;
            }
            errors = static_cast<int>(
                callErrors()[static_cast<std::size_t>(progress.calls.struck)].errors.size());
            progress.points += progress.variant < errors ? 1 : 0;
        }
    }
}

using Climb = void (*)(const Row&, Progress&);

constexpr int kSignalled = 128;

int codeOf(int status) {
    return WIFSIGNALED(status) ? kSignalled + WTERMSIG(status) : WEXITSTATUS(status);
}

/// Forks a worker into a process namespace of its own where that is allowed, so that no signal of
/// the code under test reaches anybody else. Its parent, which the test waits for, ends with
/// codeOf(its end).
template <class Work>
pid_t startWorker(Work work) {
    const auto forkAndPassOn = [](auto child) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
            // In a coverage build counts would be written, by calls that are made to fail.
            ::signal(SIGABRT, SIG_DFL);
            child();
            ::_exit(0);
        }
        int status = 0;
        while (::waitpid(pid, &status, 0) == -1 && errno == EINTR) {
        }
        ::_exit(codeOf(status));
    };
    const pid_t pid = ::fork();
    if (pid == 0) {
        if (::unshare(CLONE_NEWPID) != 0) {
            static_cast<void>(::unshare(CLONE_NEWUSER | CLONE_NEWPID));
        }
        // The first process of a namespace does not die of its own signals.
        forkAndPassOn([&] { forkAndPassOn(work); });
    }
    return pid;
}

constexpr const char* kHangs = "hangs";

/// Waits for a worker; what became of it, or "" when it went through.
std::string endOf(pid_t worker, const Progress& progress) {
    constexpr std::chrono::seconds kLongestStep{helpers::kSlow ? 120 : 90};
    int status = 0;
    bool ended = false;
    for (int points = -1; !ended && points != progress.points;) {
        points = progress.points;
        ended =
            waitUntil([&] { return ::waitpid(worker, &status, WNOHANG) == worker; }, kLongestStep);
    }
    if (!ended) {
        ::kill(worker, SIGKILL);
        ::waitpid(worker, &status, 0);
        return kHangs;
    }
    const int code = codeOf(status);
    if (code > kSignalled) {
        return std::string("ended the process: SIG") + ::sigabbrev_np(code - kSignalled);
    }
    return code == 0 && progress.done ? "" : "ended the process with " + std::to_string(code);
}

/// In a process of its own, and a new one after each that dies.
void climbRow(const Row& row, Climb climb, std::string (*place)(const Progress&),
              Progress& progress) {
    constexpr int kMostDeaths = 20;
    constexpr int kMostHangs = 2;
    progress.step = 1;
    progress.variant = 0;
    progress.done = false;
    int hangs = 0;
    for (int deaths = 0; !progress.done && deaths < kMostDeaths && hangs < kMostHangs; ++deaths) {
        progress.calls.active = false;
        const auto end = endOf(startWorker([&] {
                                   keepQuiet();
                                   climb(row, progress);
                               }),
                               progress);
        hangs += end == kHangs ? 1 : 0;
        if (!end.empty()) {
            reportFailure(progress, row, place(progress), end);
            ++progress.points;
            ++(climb == &climbCallsOf ? progress.variant : progress.step);
        }
    }
}

Progress& sharedProgress() {
    static auto* const memory = new (::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE,
                                            MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Progress;
    return *memory;
}

std::string climbAll(const std::vector<Row>& rows, Climb climb,
                     std::string (*place)(const Progress&)) {
    auto& progress = sharedProgress();
    progress.points = 0;
    progress.length = 0;
    progress.interposed = false;
    for (const auto& row : rows) {
        climbRow(row, climb, place, progress);
    }
    std::string failures(progress.failures, progress.length);
    std::cout << progress.points << " points, "
              << std::count(failures.begin(), failures.end(), '\n') << " failures"
              << (progress.interposed ? " (C library calls: no listener for system calls)" : "")
              << std::endl;
    return failures;
}

}  // namespace

std::string failuresOfAllocations(const std::vector<Row>& rows) {
    return climbAll(rows, &climbAllocationsOf, &allocationPlace);
}

std::string failuresOfCalls(const std::vector<Row>& rows) {
    return climbAll(rows, &climbCallsOf, &callPlace);
}

void climbAllocations(const std::vector<Row>& rows) {
    EXPECT_EQ(failuresOfAllocations(rows), "");
}

void climbCalls(const std::vector<Row>& rows) {
    EXPECT_EQ(failuresOfCalls(rows), "");
}

}  // namespace ladders
