// SPDX-License-Identifier: MIT
#include <atomic>
#include <new>
#include <set>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>

#include "helpers/environment.h"
#include "helpers/faults/allocation.h"
#include "helpers/wait_until.h"

namespace {

using namespace vorn::common;
using faults::NoMemory;
using time::SecondsDuration;

/// Counts without allocating.
struct Counter : IScriptExecutorObserver {
    void onScriptFinished(const Script& /*script*/, int result) override {
        last = result;
        ++ends;
    }
    void onScriptTimeout(const Script& /*script*/) override {}

    [[nodiscard]] bool waitForEnds(int count) const {
        return helpers::waitUntil([&] { return ends >= count; }, std::chrono::seconds(20));
    }

    std::atomic<int> ends = 0;
    std::atomic<int> last = 0;
};

ScriptExecutor::ScriptExecutionRequest requestFor(const std::shared_ptr<Counter>& observer) {
    ScriptExecutor::ScriptExecutionRequest request;
    request.script.uuid = Uuid(0ULL);
    request.script.content = "exit 7";
    request.observer = observer;
    request.timeout = SecondsDuration::INFINITE;
    return request;
}

int immediately(ScriptContext* context) {
    context->pid = -1;
    return 7;
}

/// The results of one run for each call of operator new that fails in it.
std::set<int> resultsWithout(const ScriptExecutor::Routine& routine, NoMemory::Times times) {
    std::set<int> results;
    for (std::size_t failing = 1;; ++failing) {
        SCOPED_TRACE("failing from allocation " + std::to_string(failing));
        const auto observer = std::make_shared<Counter>();
        ScriptExecutor executor(2, routine);
        executor.start();
        auto request = requestFor(observer);
        std::size_t failures = 0;
        bool queued = true;
        {
            const NoMemory shortage(failing, times, faults::Threads::All);
            try {
                EXPECT_TRUE(executor.execute(std::move(request)));
                EXPECT_TRUE(observer->waitForEnds(1)) << "nobody was told";
            } catch (const std::bad_alloc&) {
                queued = false;
            }
            failures = shortage.failures();
        }
        EXPECT_EQ(observer->ends, queued ? 1 : 0);
        if (queued) {
            results.insert(observer->last);
        }
        EXPECT_TRUE(helpers::waitUntil([&] { return executor.execute(requestFor(observer)); }));
        EXPECT_TRUE(observer->waitForEnds(queued ? 2 : 1)) << "the processing has ended";
        EXPECT_EQ(observer->last, 7);
        if (failures == 0 || testing::Test::HasFailure()) {
            return results;
        }
    }
}

TEST(ScriptExecutorMemory, NoFailedAllocationEndsTheProcessing) {
    for (const auto times : {NoMemory::Times::Once, NoMemory::Times::FromThereOn}) {
        EXPECT_EQ(resultsWithout(&immediately, times), (std::set<int>{-1, 7}));
        EXPECT_EQ(resultsWithout(kDefaultScriptRoutine, times), (std::set<int>{-1, 7}));
    }
}

TEST(ScriptExecutorMemory, AScriptThatFailsForLackOfMemoryStillCountsWhileItsObserverIsTold) {
    struct Asking : Counter {
        void onScriptFinished(const Script& script, int result) override {
            accepted = executor->execute(std::move(next));
            Counter::onScriptFinished(script, result);
        }
        ScriptExecutor* executor = nullptr;
        ScriptExecutor::ScriptExecutionRequest next{};
        std::atomic<bool> accepted = true;
    };
    const auto observer = std::make_shared<Asking>();
    ScriptExecutor executor(1, &immediately);
    observer->executor = &executor;
    executor.start();
    auto request = requestFor(observer);
    {
        const NoMemory shortage(1, NoMemory::Times::FromThereOn, faults::Threads::All);
        ASSERT_TRUE(executor.execute(std::move(request)));
        ASSERT_TRUE(observer->waitForEnds(1));
    }
    EXPECT_EQ(observer->last, -1);
    EXPECT_FALSE(observer->accepted);
}

TEST(ScriptExecutorMemory, TheDefaultRoutineLetsNoExceptionEscape) {
    for (std::size_t failing = 1;; ++failing) {
        ScriptContext context;
        context.request.script.content = "exit 7";
        int result = 0;
        std::size_t failures = 0;
        {
            const NoMemory shortage(failing);
            EXPECT_NO_THROW(result = kDefaultScriptRoutine(&context)) << failing;
            failures = shortage.failures();
        }
        if (failures == 0) {
            EXPECT_EQ(result, 7);
            break;
        }
        EXPECT_EQ(result, -1) << failing;
        EXPECT_EQ(context.pid, -1) << failing;
        EXPECT_FALSE(context.killable) << failing;
    }
}

}  // namespace
