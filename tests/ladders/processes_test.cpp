// SPDX-License-Identifier: MIT
#include <sys/capability.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/executable/Script.h>
#include <vorn/common/service/ProcessAttributes.h>
#include <vorn/common/service/ServiceStatus.h>

#include "helpers/TempDir.h"
#include "helpers/environment.h"
#include "helpers/wait_until.h"
#include "ladders/Ladder.h"

namespace {

using namespace std::chrono_literals;
using namespace vorn::common;
using executable::Executable;
using executable::ExecutableHolder;
using executable::ExecutableManager;
using faults::Threads;
using helpers::waitUntil;
using ladders::Answer;
using ladders::Row;
using ladders::Trial;
using time::SecondsDuration;

const Uuid kId("11111111-1111-1111-1111-111111111111");
const std::vector<std::string> kProgram{"/bin/true", "an argument that needs memory of its own"};
const Executable::Params kParams{.environment = {"NAME=a value that needs memory of its own"}};

/// What follows a failed run: a new one gives its result.
bool works() {
    executable::Script script("echo out; exit 3", {});
    script.execSync();
    return script.getExitCode() == 3 && script.readFromStdOut() == "out\n";
}

void running(Trial& trial, const std::function<void(Executable&)>& run) {
    std::optional<Executable> program;
    program.emplace(kProgram, kParams);
    trial.operate([&] { run(*program); });
    program.reset();
    trial.require(works(), "the next run");
}

void waiting(Trial& trial) {
    running(trial, [](Executable& program) {
        program.execSync();
        static_cast<void>(program.readFromStdOut());
        static_cast<void>(program.readFromStdErr());
    });
}

/// Waits for the end of a program without a system call that is made to fail: how many there are
/// would depend on the time it takes.
class End {
  public:
    /// To be given to execAsync.
    [[nodiscard]] auto teller() {
        return [this](const auto&) { ended_.set_value(); };
    }
    void await() { static_cast<void>(future_.wait_for(2s)); }

  private:
    std::promise<void> ended_;
    const std::future<void> future_ = ended_.get_future();
};

/// Deliberate: execSync waits for ever when the end of its child cannot be learnt. The ladder of
/// system calls takes this instead.
void notWaiting(Trial& trial) {
    End end;
    running(trial, [&end](Executable& program) {
        program.execAsync(end.teller());
        end.await();
    });
}

void leaving(Trial& trial) {
    trial.operate([&] {
        Executable program({"/bin/sleep", "100"}, {});
        program.execAsync([](const auto&) {});
    });
    trial.require(works(), "the next run");
}

void ending(Trial& trial) {
    trial.operate([&] {
        Executable program({"/bin/sleep", "100"}, {.timeout = 20ms, .ownProcessGroup = true});
        program.execSync();
    });
    trial.require(works(), "the next run");
}

/// The exit status of a program that its child could not set up or execute.
constexpr int kNotExecuted = 1;

/// In its own root and process group: `true` has run there, or nothing has.
void enteringARoot(Trial& trial) {
    auto params = kParams;
    params.chrootDir = "/";
    params.ownProcessGroup = true;
    Executable program(kProgram, params);
    trial.operate([&] { program.execAsync({}); });
    trial.require(
        trial.threw() || waitUntil([&] { return program.getStatus() > Executable::Running; }, 60s),
        "does not end");
    const auto code = program.getExitCode();
    trial.require(!code || code == 0 || (trial.struck() && code == kNotExecuted), "another status");
    trial.require(code || trial.struck(), "no status");
}

/// In a root without the program: whoever runs it has left the root out.
void enteringAnEmptyRoot(Trial& trial) {
    const helpers::TempDir root;
    Executable program(kProgram, {.chrootDir = root.path().string()});
    trial.operate([&] { program.execAsync({}); });
    static_cast<void>(
        waitUntil([&] { return trial.threw() || program.getStatus() > Executable::Running; }, 60s));
    const auto code = program.getExitCode();
    trial.require(code == kNotExecuted || (!code && trial.struck()), "ran outside of its root");
}

/// The program that puts others into control groups may be missing, or refuse.
void enteringControlGroups(Trial& trial) {
    auto params = kParams;
    params.cgroups = {{"a control group whose name needs memory of its own"}};
    End end;
    running(trial, [&](Executable&) {
        Executable program(kProgram, params);
        program.execAsync(end.teller());
        end.await();
    });
}

void timingOut(Trial& trial) {
    Executable program({"/bin/sleep", "100"}, {.timeout = 20ms, .ownProcessGroup = true});
    trial.operate([&] { program.execAsync({}); });
    trial.require(
        trial.threw() || waitUntil([&] { return program.getStatus() > Executable::Running; }, 60s),
        "does not end");
    trial.require(trial.struck() || program.getStatus() == Executable::TimedOut,
                  "did not time out");
}

void startingAlone(Trial& trial) {
    const auto pipes = std::make_shared<Executable::Pipes>();
    auto params = kParams;
    params.chrootDir = "/";
    params.ownProcessGroup = true;
    pid_t child = -1;
    trial.operate([&] { child = Executable::prepareEnvAndExec(kProgram, pipes, params); });
    trial.require((child == -1) == trial.threw(), "neither a child nor an error");
    int status = 0;
    while (child > 0 && ::waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    trial.require(code == 0 || (trial.struck() && code == kNotExecuted), "another status");
}

void makingAScript(Trial& trial) {
    const std::string text = "exit 3 # a text that needs memory of its own";
    trial.operate([&] {
        const executable::Script script(text, kParams);
        executable::Script grouped(text, {.cgroups = {{"a group"}}, .ownProcessGroup = true});
        static_cast<void>(script.getStatus());
    });
    trial.require(works(), "the next script");
}

void makingAnExecutor(Trial& trial) {
    const std::string captured = "what the routine needs, with memory of its own";
    const ScriptExecutor::Routine routine = [captured](ScriptContext*) { return 0; };
    trial.operate([&] { const ScriptExecutor executor(1, routine); });
    ScriptExecutor next(1, routine);
    next.start();
}

void failingToChangeIdentity(Trial& trial) {
    const std::string nobody = "a user whose name needs memory of its own";
    // Made before: g++ 11 leaks the members of an aggregate whose next one throws.
    const service::ProcessAttrs attributes{nobody, nobody, {CAP_NET_RAW}};
    trial.operate([&] {
        try {
            service::setProcessAttributes(attributes, nobody);
        } catch (const service::ServiceError& error) {
            if (error.what() != "Failed to get UID of " + nobody) {
                throw;
            }
        }
    });
}

void printingStatus(Trial& trial) {
    const service::ServiceStatus status(service::OperatingStatus::InService,
                                        service::HealthStatus::NonRecoverableFailure);
    std::ostringstream out;
    out.exceptions(std::ios_base::badbit);
    trial.operate([&] { out << status; });
}

void namingStatus(Trial& trial) {
    std::string operating;
    std::string health;
    trial.operate([&] {
        operating = toString(service::OperatingStatus::ShuttingDown);
        health = toString(service::HealthStatus::NonRecoverableFailure);
        static_cast<void>(service::fromString<service::OperatingStatus>(operating));
        static_cast<void>(service::fromString<service::HealthStatus>(health));
    });
    trial.require(trial.threw() || service::fromString<service::HealthStatus>(health) ==
                                       service::HealthStatus::NonRecoverableFailure,
                  "another status");
}

ExecutableHolder held() {
    return {.executable = std::make_unique<Executable>(kProgram, kParams)};
}

void managing(Trial& trial) {
    auto holder = held();
    trial.operate([&] {
        ExecutableManager manager(2);
        static_cast<void>(manager.execSync(std::move(holder), kId));
    });
    ExecutableManager next(2);
    trial.require(next.execSync(held(), kId).exitCode == 0, "the next run");
}

void managingLater(Trial& trial) {
    auto holder = held();
    const std::string description = "a description that needs memory of its own";
    ExecutableManager manager(1);
    trial.operate([&] {
        manager.execAsync(std::move(holder), kId, description, {});
        static_cast<void>(manager.getDescription(kId));
        static_cast<void>(manager.abort(kId));
    });
    // Deliberate: what failed to start keeps its place until it is aborted.
    static_cast<void>(manager.abort(kId));
    trial.require(manager.execSync(held(), kId).exitCode == 0, "the next run");
}

Script script() {
    Script script;
    script.uuid = kId;
    script.description = "a description that needs memory of its own";
    script.content = "exit 3";
    script.environment = {"NAME=a value that needs memory of its own"};
    return script;
}

void printingAScript(Trial& trial) {
    const auto printed = script();
    std::ostringstream out;
    out.exceptions(std::ios_base::badbit);
    trial.operate([&] { out << printed; });
}

/// Needs no memory itself: what an observer throws is the service's.
class LastResult : public IScriptExecutorObserver {
  public:
    void onScriptFinished(const Script&, int result) override {
        const std::lock_guard lock(mutex_);
        last = result;
        ++ends;
        changed_.notify_all();
    }
    void onScriptTimeout(const Script&) override {}

    [[nodiscard]] bool waitForEnds(int count) {
        // Nor are these calls made to fail.
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 60s, [&] { return ends >= count; });
    }

    std::atomic<int> last{-2};
    std::atomic<int> ends{0};

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
};

void scripting(Trial& trial) {
    auto observer = std::make_shared<LastResult>();
    auto request = script();
    std::optional<ScriptExecutor> executor;
    executor.emplace(1, kDefaultScriptRoutine);
    executor->start();
    trial.operate([&] {
        if (executor->execute(request, observer, SecondsDuration(20))) {
            static_cast<void>(observer->waitForEnds(1));
        }
    });
    const int ends = observer->ends;
    const bool failed = trial.struck();
    trial.require(ends == 1 || trial.threw(), "nobody is told");
    trial.require(observer->last == 3 || failed, "another result");
    trial.require(
        waitUntil([&] { return executor->execute(request, observer, SecondsDuration(20)); }, 60s),
        "is not accepted");
    trial.require(observer->waitForEnds(ends + 1), "the next script");
    trial.require(observer->last == 3, "the next result");
    executor.reset();
}

void startingAndEnding(Trial& trial) {
    LastResult observer;
    ScriptExecutor executor(1, [](ScriptContext*) { return 0; });
    trial.operate([&] {
        executor.start();
        executor.terminate();
    });
    executor.start();
    trial.require(executor.execute(script(), &observer, SecondsDuration::INFINITE),
                  "is not accepted");
    trial.require(observer.waitForEnds(1), "the next script");
    executor.terminate();
}

void describing(Trial& trial) {
    const service::ServiceStatus status(service::OperatingStatus::InService,
                                        service::HealthStatus::NonRecoverableFailure);
    std::string text;
    trial.operate([&] { text = status.getJson(); });
    trial.require(trial.threw() || text == status.getJson(), "another text");
}

/// One of the texts that a step of becoming nobody with CAP_NET_RAW can fail with.
bool isOfAStep(const std::string& text) {
    static const std::set<std::string> texts{
        "Failed to get UID of nobody",
        "Failed to get GID of nogroup",
        "Failed to set PERMITTED capability flags as root.",
        "Failed to set capabilities as root.",
        "Failed to retain capabilities set across identity change.",
        "Failed to switch to set supplementary group IDS",
        "Failed to switch to group with GID: 65534",
        "Failed to switch to user with UID: 65534",
        " AMBIENT capability flags as user for cap ",  // without as much as the capability's number
        "Failed to set capabilities as user.",
    };
    return texts.count(text) == 1;
}

/// In a child, which it changes for ever: 0 when it has another identity, 1 when the documented
/// error came, anything else for what is wrong.
int identityCode(const service::ProcessAttrs& attributes) {
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            service::setProcessAttributes(attributes, "");
            ::_exit(::getuid() == 65534 && ::getgid() == 65534 ? 0 : 2);
        } catch (const service::ServiceError& error) {
            ::_exit(isOfAStep(error.what()) ? 1 : 4);
        } catch (...) {
            ::_exit(2);
        }
    }
    int status = 0;
    while (child > 0 && ::waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    return child > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : child > 0 ? 3 : 1;
}

void changingIdentity(Trial& trial) {
    const service::ProcessAttrs attributes{"nobody", "nogroup", {CAP_NET_RAW}};
    int code = -1;
    trial.operate([&] { code = identityCode(attributes); });
    trial.require(code == 0 || (code == 1 && trial.struck()), "ended with " + std::to_string(code));
}

Row starting(const std::string& name, void (*run)(Trial&)) {
    return Row{name, run, Answer::Hides, Threads::All}
        .mayThrow<std::runtime_error>("failed to open pipe")
        .mayThrow<std::runtime_error>("fork failed")
        .mayThrow<std::system_error>("");
}

const Row kSync = starting("Executable::execSync", waiting);
const Row kAsync = starting("Executable::execAsync", notWaiting);
const Row kLeaving = starting("Executable: end while it runs", leaving);
const Row kTimeOut = starting("Executable: time out", ending);
const Row kManagerSync = starting("ExecutableManager::execSync", managing);
const Row kManagerAsync = starting("ExecutableManager::execAsync", managingLater);
const Row kExecute{"ScriptExecutor::execute", scripting, Answer::Hides, Threads::All};
const Row kStart =
    Row{"ScriptExecutor: start and terminate", startingAndEnding, Answer::Hides, Threads::All}
        .mayThrow<std::system_error>("");

const Row kControlGroups = starting("Executable in control groups", enteringControlGroups);
const Row kTimeOutLater = starting("Executable::execAsync: time out", timingOut);
/// Whoever is not root cannot change it.
const Row kRoot = starting("Executable in a root of its own", enteringARoot);
const Row kEmptyRoot = starting("Executable in a root without it", enteringAnEmptyRoot);
const Row kAlone =
    Row{"Executable::prepareEnvAndExec", startingAlone}.mayThrow<std::runtime_error>("fork failed");

TEST(ExecutablesLadder, Allocations) {
    ladders::climbAllocations({kSync,
                               kAsync,
                               kLeaving,
                               kTimeOut,
                               kTimeOutLater,
                               kControlGroups,
                               kManagerSync,
                               kManagerAsync,
                               {"Script", makingAScript},
                               {"ServiceStatus::getJson", describing},
                               {"ostream << ServiceStatus", printingStatus},
                               {"service::toString, fromString", namingStatus}});
}

TEST(ExecutablesLadder, Calls) {
    ladders::climbCalls({kAsync, kLeaving, kTimeOutLater, kControlGroups, kManagerAsync});
}

TEST(RootsLadder, Allocations) {
    VORN_REQUIRE_ROOT();
    ladders::climbAllocations({kRoot, kAlone});
}

TEST(RootsLadder, Calls) {
    VORN_REQUIRE_ROOT();
    ladders::climbCalls({kRoot, kEmptyRoot, kAlone});
}

TEST(IdentityLadder, Allocations) {
    ladders::climbAllocations(
        {{"setProcessAttributes of an unknown user", failingToChangeIdentity}});
}

TEST(IdentityLadder, Calls) {
    VORN_REQUIRE_ROOT();
    ladders::climbCalls({{"setProcessAttributes", changingIdentity}});
}

TEST(ScriptsLadder, Allocations) {
    ladders::climbAllocations({kExecute,
                               kStart,
                               {"ScriptExecutor", makingAnExecutor},
                               {"ostream << Script", printingAScript}});
}

TEST(ScriptsLadder, Calls) {
    ladders::climbCalls({kExecute, kStart});
}

}  // namespace
