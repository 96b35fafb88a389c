#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/executable/Script.h>
#include <vorn/common/service/ServiceStatus.h>

#include "helpers/wait_until.h"
#include "ladders/Ladder.h"
#include "processes/ScriptObserver.h"

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

void notWaiting(Trial& trial) {
    running(trial, [](Executable& program) {
        program.execAsync([](const auto&) {});
        static_cast<void>(
            waitUntil([&] { return program.getStatus() != Executable::Running; }, 10s));
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
        static_cast<void>(waitUntil([&] { return !manager.isRunning(kId); }, 10s));
    });
    trial.require(waitUntil([&] { return !manager.isRunning(kId); }, 10s), "still runs");
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

void scripting(Trial& trial) {
    auto observer = std::make_shared<Observer>();
    auto request = script();
    std::optional<ScriptExecutor> executor;
    executor.emplace(1, kDefaultScriptRoutine);
    executor->start();
    trial.operate([&] {
        if (executor->execute(request, observer, SecondsDuration(20))) {
            static_cast<void>(observer->waitForEnds(1));
        }
    });
    const auto ends = observer->ends();
    trial.require(executor->execute(request, observer, SecondsDuration(20)), "is not accepted");
    trial.require(waitUntil([&] { return observer->ends() > ends; }, 10s), "the next script");
    trial.require(observer->texts().back().ends_with(" finished 3"), "the next result");
    executor.reset();
}

void startingAndEnding(Trial& trial) {
    Observer observer;
    ScriptExecutor executor(1, [](ScriptContext*) { return 0; });
    trial.operate([&] {
        executor.start();
        executor.terminate();
    });
    executor.start();
    const auto ends = observer.ends();
    trial.require(executor.execute(script(), &observer, SecondsDuration::INFINITE),
                  "is not accepted");
    trial.require(waitUntil([&] { return observer.ends() > ends; }, 10s), "the next script");
    executor.terminate();
}

void describing(Trial& trial) {
    const service::ServiceStatus status(service::OperatingStatus::InService,
                                        service::HealthStatus::NonRecoverableFailure);
    std::string text;
    trial.operate([&] { text = status.getJson(); });
    trial.require(trial.threw() || text == status.getJson(), "another text");
}

std::vector<Row> rows() {
    return {
        {"Executable::execSync", waiting, Answer::Hides, Threads::All},
        {"Executable::execAsync", notWaiting, Answer::Hides, Threads::All},
        {"Executable: end while it runs", leaving, Answer::Hides, Threads::All},
        {"Executable: time out", ending, Answer::Hides, Threads::All},
        {"ExecutableManager::execSync", managing, Answer::Hides, Threads::All},
        {"ExecutableManager::execAsync", managingLater, Answer::Hides, Threads::All},
        {"ScriptExecutor::execute", scripting, Answer::Hides, Threads::All},
        {"ScriptExecutor: start and terminate", startingAndEnding, Answer::Hides, Threads::All},
    };
}

TEST(ProcessesLadder, Allocations) {
    auto all = rows();
    all.push_back({"ServiceStatus::getJson", describing});
    ladders::climbAllocations(all);
}

TEST(ProcessesLadder, Calls) {
    ladders::climbCalls(rows());
}

}  // namespace
