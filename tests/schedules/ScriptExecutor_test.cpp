// SPDX-License-Identifier: MIT

// The executor's look at deadlines beside the threads that wait for the scripts and reap them: a
// script that has been reaped is never killed, and every one is told of once.

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>

#include "schedules/children.h"
#include "schedules/expect.h"

namespace {

using schedules::expectNoFailure;
using schedules::require;
using vorn::common::IScriptExecutorObserver;
using vorn::common::kDefaultScriptRoutine;
using vorn::common::Script;
using vorn::common::ScriptExecutor;
using vorn::common::Uuid;
using vorn::common::time::SecondsDuration;
namespace children = schedules::children;

class Observer : public IScriptExecutorObserver {
  public:
    void onScriptFinished(const Script& /*script*/, int result) override {
        const std::lock_guard lock(mutex_);
        ++finished_;
        exited_ += result == 0;
        changed_.notify_all();
    }
    void onScriptTimeout(const Script& /*script*/) override { ++timeouts_; }

    void waitFor(int finished) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return finished_ >= finished; });
    }
    [[nodiscard]] int finished() const { return finished_; }
    [[nodiscard]] int exited() const { return exited_; }
    [[nodiscard]] int timeouts() const { return timeouts_; }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int finished_ = 0;
    int exited_ = 0;
    int timeouts_ = 0;
};

/// With identifiers of their own: one that is active is not started again.
const Script kScripts[] = {
    {.uuid = Uuid(Uuid::VORN_NAMESPACE, "first"), .content = "true"},
    {.uuid = Uuid(Uuid::VORN_NAMESPACE, "second"), .content = "true"},
};
constexpr SecondsDuration kAtOnce(0);

/// An executor that is started, and none of its children yet.
struct Running {
    Running(std::uint32_t maxConcurrent, Observer& told)
        : executor(maxConcurrent, kDefaultScriptRoutine), observer(told) {
        children::forget();
        executor.start();
    }
    void execute(const Script& script) {
        require(executor.execute(script, &observer, kAtOnce), "it is refused");
    }

    ScriptExecutor executor;
    Observer& observer;
};

void expectAllReaped(const Observer& observer, int count) {
    const auto counts = children::counts();
    require(counts.started == count && counts.reaped == count, "a script is left");
    require(observer.finished() == count, "a script's end is told twice or never");
    require(observer.exited() == counts.exited, "a wrong result is told");
    require(observer.timeouts() >= counts.killed, "a kill is not told");
}

TEST(ScriptExecutorSchedules, AScriptPastItsDeadlineIsKilledOrHasEnded) {
    expectNoFailure([] {
        Observer observer;
        Running running(1, observer);
        running.execute(kScripts[0]);
        observer.waitFor(1);
        running.executor.terminate();
        expectAllReaped(observer, 1);
    });
}

TEST(ScriptExecutorSchedules, TwoScriptsPastTheirDeadlines) {
    expectNoFailure(
        [] {
            Observer observer;
            Running running(2, observer);
            for (const Script& script : kScripts) {
                running.execute(script);
            }
            observer.waitFor(2);
            running.executor.terminate();
            expectAllReaped(observer, 2);
        },
        {.preemptions = 1});
}

TEST(ScriptExecutorSchedules, TheEndWaitsForTheScriptAndKillsNothingAfterIt) {
    expectNoFailure([] {
        Observer observer;
        {
            Running running(1, observer);
            running.execute(kScripts[0]);
        }
        const auto counts = children::counts();
        require(counts.reaped == counts.started, "a script is left");
        require(observer.finished() <= counts.started, "an end is told twice");
    });
}

TEST(ScriptExecutorSchedules, TwoThreadsMayTerminateAndOneRequest) {
    expectNoFailure(
        [] {
            Observer observer;
            Running running(1, observer);
            std::thread other([&] { running.executor.terminate(); });
            static_cast<void>(
                running.executor.execute(kScripts[0], &observer, SecondsDuration(60)));
            running.executor.terminate();
            other.join();
        },
        {.preemptions = 1});
}

}  // namespace
