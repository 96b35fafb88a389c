// SPDX-License-Identifier: MIT
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <latch>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>

#include "helpers/child.h"
#include "helpers/faults/threads.h"
#include "helpers/wait_until.h"
#include "processes/ScriptObserver.h"
#include "processes/kills.h"

namespace {

using namespace vorn::common;
using namespace std::chrono_literals;
using time::SecondsDuration;

Script scriptNamed(const std::string& description) {
    Script script;
    script.uuid = Uuid(0ULL);
    script.description = description;
    return script;
}

/// A routine that runs until it is released and then returns the number that is its description.
class Held {
  public:
    ScriptExecutor::Routine routine() {
        return [this](ScriptContext* context) {
            context->pid = -1;
            std::unique_lock lock(mutex_);
            started_.push_back(context->request.script.description);
            changed_.notify_all();
            changed_.wait(lock, [this] { return released_; });
            return std::stoi(context->request.script.description);
        };
    }
    void release() {
        const std::lock_guard lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }
    void waitForStarts(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return started_.size() >= count; });
    }
    std::vector<std::string> started() {
        const std::lock_guard lock(mutex_);
        return started_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool released_ = false;
    std::vector<std::string> started_;
};

int immediately(ScriptContext* context) {
    context->pid = -1;
    return std::stoi(context->request.script.description);
}

TEST(ScriptRecord, WritesIdentifierAndDescription) {
    Script script;
    script.uuid = Uuid("933d6c80-dea9-8c6b-d111-8b3b46a181f1");
    script.description = "x";
    std::ostringstream text;
    text << script;
    EXPECT_EQ(text.str(), "Script(uuid: 933d6c80-dea9-8c6b-d111-8b3b46a181f1, description: x)");
}

TEST(ScriptContexts, FindByUuidGivesTheFirstOrTheEnd) {
    std::vector<std::unique_ptr<ScriptContext>> contexts;
    EXPECT_EQ(findByUuid(contexts, Uuid(0ULL)), contexts.end());
    const Uuid uuid(0ULL);
    for (int i = 0; i < 3; ++i) {
        contexts.push_back(std::make_unique<ScriptContext>());
        contexts.back()->request.script.uuid = i == 0 ? Uuid(0ULL) : uuid;
    }
    EXPECT_EQ(findByUuid(contexts, uuid), contexts.begin() + 1);
    EXPECT_EQ(findByUuid(contexts, Uuid(0ULL)), contexts.end());
}

TEST(ScriptContexts, StartEmpty) {
    const ScriptContext context;
    EXPECT_EQ(context.state, 0);
    EXPECT_FALSE(context.notified);
    EXPECT_EQ(context.pid, 0);
    EXPECT_FALSE(context.result.valid());
}

TEST(ScriptExecutor, RefusesUnlessRunning) {
    Observer observer;
    ScriptExecutor executor(1, immediately);
    EXPECT_FALSE(executor.execute(scriptNamed("1"), &observer, SecondsDuration::INFINITE));
    executor.start();
    executor.start();
    EXPECT_TRUE(executor.execute(scriptNamed("1"), &observer, SecondsDuration::INFINITE));
    ASSERT_TRUE(observer.waitForEnds(1));
    executor.terminate();
    EXPECT_FALSE(executor.execute(scriptNamed("2"), &observer, SecondsDuration::INFINITE));
    executor.terminate();
    EXPECT_EQ(observer.texts(), std::vector<std::string>{"1 finished 1"});
}

TEST(ScriptExecutor, TerminateWithoutStartDoesNothing) {
    ScriptExecutor executor(1, immediately);
    executor.terminate();
    ScriptExecutor nobody(0, immediately);
    nobody.start();
    EXPECT_FALSE(nobody.execute(scriptNamed("1"), nullptr, SecondsDuration(1)));
}

TEST(ScriptExecutor, AllFormsOfExecuteReachTheRoutineAndTheObserver) {
    const auto shared = std::make_shared<Observer>();
    Observer bare;
    ScriptExecutor executor(10, immediately);
    executor.start();
    EXPECT_TRUE(executor.execute({scriptNamed("1"), shared, SecondsDuration::INFINITE}));
    ASSERT_TRUE(shared->waitForEnds(1));
    EXPECT_TRUE(executor.execute(scriptNamed("-2"), shared, SecondsDuration(60)));
    ASSERT_TRUE(shared->waitForEnds(2));
    EXPECT_TRUE(executor.execute(scriptNamed("3"), &bare, SecondsDuration(60)));
    ASSERT_TRUE(bare.waitForEnds(1));
    EXPECT_TRUE(executor.execute(scriptNamed("4"), nullptr, SecondsDuration(60)));
    EXPECT_TRUE(executor.execute(scriptNamed("5"), std::shared_ptr<IScriptExecutorObserver>(),
                                 SecondsDuration(60)));
    EXPECT_TRUE(executor.execute(scriptNamed("6"), &bare, SecondsDuration(60)));
    ASSERT_TRUE(bare.waitForEnds(2));
    executor.terminate();
    EXPECT_EQ(shared->texts(), (std::vector<std::string>{"1 finished 1", "-2 finished -2"}));
    EXPECT_EQ(bare.texts(), (std::vector<std::string>{"3 finished 3", "6 finished 6"}));
    EXPECT_EQ(shared.use_count(), 1);
}

TEST(ScriptExecutor, ContextDescribesTheRun) {
    const auto before = std::chrono::steady_clock::now();
    const auto request = scriptNamed("7");
    const auto observer = std::make_shared<Observer>();
    std::vector<std::chrono::steady_clock::time_point> deadlines;
    ScriptExecutor executor(1, [&](ScriptContext* context) {
        EXPECT_EQ(context->pid, 0);
        context->pid = -1;
        EXPECT_FALSE(context->notified);
        EXPECT_EQ(context->request.script.uuid, request.uuid);
        EXPECT_EQ(context->request.observer, observer);
        EXPECT_GE(context->started, before);
        if (!context->request.timeout.isInfinite()) {
            EXPECT_EQ(context->deadline,
                      context->started + std::chrono::seconds(context->request.timeout.count()));
        } else {
            EXPECT_EQ(context->deadline, std::chrono::steady_clock::time_point::max());
        }
        return 0;
    });
    executor.start();
    std::size_t ends = 0;
    for (const auto timeout : {SecondsDuration(0), SecondsDuration(90),
                               SecondsDuration(4294967294U), SecondsDuration::INFINITE}) {
        ASSERT_TRUE(
            helpers::waitUntil([&] { return executor.execute(request, observer, timeout); }));
        ASSERT_TRUE(observer->waitForEnds(++ends));
    }
}

/// Holds up the executor's thread, so that it starts nothing, from the first time-out on.
struct HoldingUp : Observer {
    void onScriptTimeout(const Script& script) override {
        Observer::onScriptTimeout(script);
        goOn.wait();
    }
    std::latch goOn{1};
};

TEST(ScriptExecutor, DeliberateOnlyRunningScriptsCountAgainstTheLimit) {
    Held held;
    HoldingUp observer;
    ScriptExecutor executor(2, held.routine());
    executor.start();
    EXPECT_TRUE(executor.execute(scriptNamed("1"), &observer, SecondsDuration(0)));
    EXPECT_TRUE(observer.waitForTimeouts(1));
    // One slot is free, so both are accepted; the second waits in the queue.
    EXPECT_TRUE(executor.execute(scriptNamed("2"), &observer, SecondsDuration::INFINITE));
    EXPECT_TRUE(executor.execute(scriptNamed("3"), &observer, SecondsDuration::INFINITE));
    observer.goOn.count_down();
    held.waitForStarts(2);
    EXPECT_FALSE(executor.execute(scriptNamed("4"), &observer, SecondsDuration::INFINITE));
    EXPECT_EQ(held.started(), (std::vector<std::string>{"1", "2"}));
    held.release();
    ASSERT_TRUE(observer.waitForEnds(3));
    EXPECT_TRUE(executor.execute(scriptNamed("5"), &observer, SecondsDuration::INFINITE));
    ASSERT_TRUE(observer.waitForEnds(4));
    EXPECT_EQ(held.started(), (std::vector<std::string>{"1", "2", "3", "5"}));
}

TEST(ScriptExecutor, DeliberateAnActiveIdentifierIsDroppedSilently) {
    Held held;
    Observer observer;
    ScriptExecutor executor(3, held.routine());
    executor.start();
    auto first = scriptNamed("1");
    auto second = scriptNamed("2");
    second.uuid = first.uuid;
    EXPECT_TRUE(executor.execute(first, &observer, SecondsDuration::INFINITE));
    held.waitForStarts(1);
    EXPECT_TRUE(executor.execute(second, &observer, SecondsDuration::INFINITE));
    EXPECT_TRUE(executor.execute(scriptNamed("3"), &observer, SecondsDuration::INFINITE));
    held.waitForStarts(2);
    EXPECT_THAT(held.started(), testing::UnorderedElementsAre("1", "3"));
    held.release();
    ASSERT_TRUE(observer.waitForEnds(2));
    EXPECT_TRUE(executor.execute(second, &observer, SecondsDuration::INFINITE));
    ASSERT_TRUE(observer.waitForEnds(3));
    EXPECT_THAT(held.started(), testing::UnorderedElementsAre("1", "3", "2"));
}

TEST(ScriptExecutor, ObserverMayExecuteWhileItsScriptStillCounts) {
    struct Restarting : Observer {
        void onScriptFinished(const Script& script, int result) override {
            accepted = executor->execute(scriptNamed("9"), this, SecondsDuration::INFINITE);
            Observer::onScriptFinished(script, result);
        }
        ScriptExecutor* executor = nullptr;
        std::atomic<bool> accepted = true;
    } observer;
    ScriptExecutor executor(1, immediately);
    observer.executor = &executor;
    executor.start();
    EXPECT_TRUE(executor.execute(scriptNamed("1"), &observer, SecondsDuration::INFINITE));
    ASSERT_TRUE(observer.waitForEnds(1));
    EXPECT_FALSE(observer.accepted);
}

TEST(ScriptExecutor, NotifiedSkipsTheCompletionCall) {
    Observer observer;
    ScriptExecutor executor(2, [](ScriptContext* context) -> int {
        context->pid = -1;
        if (context->request.script.description == "1") {
            context->notified = true;
            throw std::runtime_error("never looked at");
        }
        return 2;
    });
    executor.start();
    EXPECT_TRUE(executor.execute(scriptNamed("1"), &observer, SecondsDuration::INFINITE));
    EXPECT_TRUE(executor.execute(scriptNamed("2"), &observer, SecondsDuration::INFINITE));
    ASSERT_TRUE(observer.waitForEnds(1));
    EXPECT_EQ(observer.texts(), std::vector<std::string>{"2 finished 2"});
}

TEST(ScriptExecutor, DeliberateTimeoutsRepeatUntilTheRoutineReturns) {
    Held held;
    Observer observer;
    ScriptExecutor executor(1, held.routine());
    executor.start();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(executor.execute(scriptNamed("5"), &observer, SecondsDuration(0)));
    ASSERT_TRUE(observer.waitForTimeouts(2));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2s) << "each look lasts a second";
    held.release();
    ASSERT_TRUE(observer.waitForEnds(1));
    const auto texts = observer.texts();
    ASSERT_GE(texts.size(), 3u);
    EXPECT_EQ(texts[0], "5 timeout");
    EXPECT_EQ(texts[1], "5 timeout");
    EXPECT_EQ(texts.back(), "5 finished 5");
}

/// A routine of a caller's whose process ends by a signal only: 1000 and its number.
int waitForASignal(ScriptContext* context) {
    context->pid = helpers::startProcess([]() -> int {
        for (;;) {
            ::pause();
        }
    });
    const int status = helpers::waitForEnd(context->pid);
    return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : 0;
}

TEST(ScriptExecutor, KillsTheProcessThatTheRoutineStored) {
    Observer observer;
    ScriptExecutor executor(1, waitForASignal);
    executor.start();
    EXPECT_TRUE(executor.execute(scriptNamed("k"), &observer, SecondsDuration(0)));
    ASSERT_TRUE(observer.waitForEnds(1));
    EXPECT_EQ(observer.texts().front(), "k timeout");
    EXPECT_EQ(observer.texts().back(), "k finished 1009");
}

TEST(ScriptExecutor, WithoutAnObserverAProcessIsKilledAllTheSame) {
    std::atomic<int> result = 0;
    {
        ScriptExecutor executor(
            1, [&result](ScriptContext* context) { return result = waitForASignal(context); });
        executor.start();
        EXPECT_TRUE(executor.execute({scriptNamed("k"), nullptr, SecondsDuration(0)}));
        EXPECT_TRUE(helpers::waitUntil([&] { return result != 0; }));
    }
    EXPECT_EQ(result, 1009);
}

TEST(ScriptExecutor, ARoutineMayCallTheDefaultOneWhenItsDeadlineHasPassed) {
    // Relaxed: the thread sanitizer sees what the executor itself keeps in order, and nothing else.
    struct LateObserver : Observer {
        void onScriptTimeout(const Script&) override {
            timedOut.store(true, std::memory_order_relaxed);
        }
        std::atomic<bool> timedOut = false;
    } observer;
    ScriptExecutor executor(1, [&](ScriptContext* context) {
        context->pid = -1;
        while (!observer.timedOut.load(std::memory_order_relaxed)) {
            std::this_thread::sleep_for(1ms);
        }
        return kDefaultScriptRoutine(context);
    });
    executor.start();
    EXPECT_TRUE(executor.execute(scriptNamed("late"), &observer, SecondsDuration(0)));
    EXPECT_TRUE(observer.waitForEnds(1));
}

TEST(ScriptExecutor, DeliberateARoutineThatStoresNoIdHasItsOwnGroupKilled) {
    const auto result = helpers::runInChild([](const auto&) {
        ::setpgid(0, 0);
        const kills::Permitted ownGroup;
        Observer observer;
        ScriptExecutor executor(1, [](ScriptContext*) {
            for (;;) {
                ::pause();
            }
            return 0;
        });
        executor.start();
        executor.execute(scriptNamed("0"), &observer, SecondsDuration(0));
        static_cast<void>(observer.waitForEnds(1));
        return 1;
    });
    EXPECT_EQ(result.signal, SIGKILL);
}

TEST(ScriptExecutor, DeliberateTerminateWaitsForScriptsAndTellsTheirObserversAfterAnotherStart) {
    /// Lets its script end once terminate has begun: the loop does not look at it again then.
    struct Ending : Observer {
        void onScriptTimeout(const Script& script) override {
            Observer::onScriptTimeout(script);
            EXPECT_TRUE(helpers::waitUntil(
                [&] { return !executor->execute(script, this, SecondsDuration::INFINITE); }));
            released = true;
            held->release();
        }
        ScriptExecutor* executor = nullptr;
        Held* held = nullptr;
        std::atomic<bool> released = false;
    } observer;
    Held held;
    ScriptExecutor executor(2, held.routine());
    observer.executor = &executor;
    observer.held = &held;
    executor.start();
    EXPECT_TRUE(executor.execute(scriptNamed("6"), &observer, SecondsDuration(0)));
    ASSERT_TRUE(observer.waitForTimeouts(1));
    executor.terminate();
    EXPECT_TRUE(observer.released);
    EXPECT_EQ(observer.ends(), 0u);
    executor.start();
    ASSERT_TRUE(observer.waitForEnds(1));
    EXPECT_EQ(observer.texts()[1], "6 finished 6");
}

TEST(ScriptExecutor, AWakeUpNeverRunsAsAScript) {
    std::vector<std::string> ran;
    std::mutex mutex;
    Observer observer;
    ScriptExecutor executor(2, [&](ScriptContext* context) {
        context->pid = -1;
        const std::lock_guard lock(mutex);
        ran.push_back(context->request.script.description);
        return 0;
    });
    for (int i = 0; i < 20; ++i) {
        executor.start();
        executor.terminate();
    }
    executor.start();
    EXPECT_TRUE(executor.execute(scriptNamed("only"), &observer, SecondsDuration::INFINITE));
    ASSERT_TRUE(observer.waitForEnds(1));
    executor.terminate();
    EXPECT_EQ(ran, std::vector<std::string>{"only"});
}

TEST(ScriptExecutor, QueuedRequestsWaitForTheNextStart) {
    /// Queues a request and holds the loop until terminate has begun. What it executes to find that
    /// out has an active identifier, so it is dropped.
    struct Queueing : Observer {
        void onScriptTimeout(const Script& script) override {
            EXPECT_TRUE(executor->execute(scriptNamed("2"), this, SecondsDuration::INFINITE));
            Observer::onScriptTimeout(script);
            EXPECT_TRUE(helpers::waitUntil(
                [&] { return !executor->execute(script, this, SecondsDuration::INFINITE); }));
            held->release();
        }
        ScriptExecutor* executor = nullptr;
        Held* held = nullptr;
    } observer;
    Held held;
    ScriptExecutor executor(3, held.routine());
    observer.executor = &executor;
    observer.held = &held;
    executor.start();
    EXPECT_TRUE(executor.execute(scriptNamed("1"), &observer, SecondsDuration(0)));
    ASSERT_TRUE(observer.waitForTimeouts(1));
    executor.terminate();
    EXPECT_EQ(held.started(), std::vector<std::string>{"1"});
    executor.start();
    ASSERT_TRUE(observer.waitForEnds(2));
    executor.terminate();
    EXPECT_EQ(held.started(), (std::vector<std::string>{"1", "2"}));
}

TEST(ScriptExecutor, DeliberateScriptsAreLookedAtOneAfterTheOther) {
    Held held;
    Observer observer;
    const auto holding = held.routine();
    ScriptExecutor executor(3, [&](ScriptContext* context) {
        return context->request.script.description == "1" ? holding(context) : immediately(context);
    });
    executor.start();
    EXPECT_TRUE(executor.execute(scriptNamed("1"), &observer, SecondsDuration(3600)));
    held.waitForStarts(1);
    // Each is reached only after a look of a second at the first, which is within its limit.
    EXPECT_TRUE(executor.execute(scriptNamed("2"), &observer, SecondsDuration::INFINITE));
    EXPECT_TRUE(observer.waitForEnds(1));
    EXPECT_TRUE(executor.execute(scriptNamed("3"), &observer, SecondsDuration::INFINITE));
    EXPECT_TRUE(observer.waitForEnds(2));
    EXPECT_EQ(observer.texts(), (std::vector<std::string>{"2 finished 2", "3 finished 3"}));
    held.release();
    EXPECT_TRUE(observer.waitForEnds(3));
    EXPECT_EQ(observer.texts().back(), "1 finished 1");
}

TEST(ScriptExecutor, DeliberateAnExceptionEndsTheProcessingSilently) {
    struct Throwing : Observer {
        void onScriptFinished(const Script& script, int result) override {
            Observer::onScriptFinished(script, result);
            if (result < 0) {
                throw std::runtime_error("from the observer");
            }
        }
    };
    for (const bool fromObserver : {false, true}) {
        Throwing observer;
        std::atomic<int> calls = 0;
        ScriptExecutor executor(5, [&](ScriptContext* context) {
            context->pid = -1;
            ++calls;
            if (context->request.script.description == "bad") {
                throw std::runtime_error("from the routine");
            }
            return std::stoi(context->request.script.description);
        });
        executor.start();
        EXPECT_TRUE(executor.execute(scriptNamed(fromObserver ? "-1" : "bad"), &observer,
                                     SecondsDuration::INFINITE));
        ASSERT_TRUE(helpers::waitUntil([&] { return calls == 1; }));
        if (fromObserver) {
            ASSERT_TRUE(observer.waitForEnds(1));
        }
        // A terminate that comes before the exception leaves it to the next processing.
        const std::size_t before = fromObserver ? 1 : 0;
        bool works = false;
        for (int restart = 0; restart < 20 && !works; ++restart) {
            executor.terminate();
            executor.start();
            EXPECT_TRUE(executor.execute(scriptNamed("8"), &observer, SecondsDuration::INFINITE));
            works = helpers::waitUntil([&] { return observer.ends() > before; }, 3s);
        }
        EXPECT_TRUE(works);
        EXPECT_EQ(observer.texts().back(), "8 finished 8");
    }
}

TEST(ScriptExecutor, WithoutAFurtherThreadARunFailsAtOnceOrTheStartThrows) {
    Observer observer;
    ScriptExecutor executor(1, immediately);
    {
        const faults::NoMoreThreads shortage;
        EXPECT_THROW(executor.start(), std::system_error);
    }
    executor.start();
    {
        const faults::NoMoreThreads shortage;
        EXPECT_TRUE(executor.execute(scriptNamed("4"), &observer, SecondsDuration::INFINITE));
        ASSERT_TRUE(observer.waitForEnds(1));
    }
    EXPECT_EQ(observer.texts().back(), "4 finished -1");
}

TEST(ScriptExecutor, StartTerminateAndExecuteFromManyThreads) {
    Observer observer;
    ScriptExecutor executor(4, immediately);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 20; ++i) {
                if (thread == 0) {
                    executor.start();
                } else if (thread == 1) {
                    executor.terminate();
                } else {
                    executor.execute(scriptNamed("1"), &observer, SecondsDuration::INFINITE);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    executor.start();
    const auto before = observer.ends();
    ASSERT_TRUE(helpers::waitUntil([&] {
        executor.execute(scriptNamed("2"), &observer, SecondsDuration::INFINITE);
        return observer.ends() > before;
    }));
}

}  // namespace
