// SPDX-License-Identifier: MIT
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <shared_mutex>

#include <gtest/gtest.h>

#include <vorn/common/RecursiveSharedMutex.h>
#include <vorn/common/Thread.h>
#include <vorn/common/ThreadPool.h>
#include <vorn/common/sched/Cooldown.h>
#include <vorn/common/sched/CpuLoadRegulator.h>
#include <vorn/common/thread/MessageThread.h>

#include "helpers/wait_until.h"
#include "ladders/Ladder.h"

namespace {

using namespace std::chrono_literals;
using faults::Threads;
using helpers::waitUntil;
using ladders::Answer;
using ladders::Row;
using ladders::Trial;
using vorn::common::RecursiveSharedMutex;
using vorn::common::Thread;
using vorn::common::ThreadPool;
using vorn::common::thread::Message;
using vorn::common::thread::MessageThread;

void creatingAThread(Trial& trial) {
    std::atomic<int> calls = 0;
    const std::function<void(void*)> function = [&](void*) { ++calls; };
    trial.operate([&] {
        Thread thread;
        thread.start(function, nullptr);
        thread.wait(Thread::kNoTimeout);
    });
    Thread next;
    next.start(function, nullptr);
    next.wait(Thread::kNoTimeout);
    trial.require(calls >= 1, "the next thread");
}

void creatingAPool(Trial& trial) {
    trial.operate([&] { const ThreadPool pool(1); });
    std::atomic<int> calls = 0;
    ThreadPool next(1);
    next._emplaceTask([&] { ++calls; });
    trial.require(waitUntil([&] { return calls == 1; }), "the next pool");
}

/// More tasks than one block of a queue holds.
constexpr int kTasks = 40;

void submitting(Trial& trial) {
    std::atomic<int> calls = 0;
    int submitted = 0;
    ThreadPool pool(1);
    trial.operate([&] {
        for (; submitted < kTasks; ++submitted) {
            pool._emplaceTask([&] { ++calls; });
        }
    });
    trial.require(waitUntil([&] { return calls == submitted; }), "a submitted task does not run");
    pool._emplaceTask([&] { ++calls; });
    trial.require(waitUntil([&] { return calls == submitted + 1; }), "the next task");
}

void emptyingAPool(Trial& trial) {
    std::promise<void> gate;
    auto passed = gate.get_future().share();
    std::atomic<int> calls = 0;
    ThreadPool pool(1);
    pool._emplaceTask([passed] { passed.wait(); });
    trial.require(waitUntil([&] { return !pool.hasFreeWorker(); }), "the worker is not busy");
    pool._emplaceTask([&] { ++calls; });
    trial.operate([&] { pool.clearQueue(); });
    gate.set_value();
    pool._emplaceTask([&] { ++calls; });
    trial.require(waitUntil([&] { return calls >= 1; }), "the next task");
    trial.require(trial.threw() || calls == 1, "the queue was not emptied");
}

void endingAPool(Trial& trial) {
    auto pool = std::make_unique<ThreadPool>(2);
    pool->_emplaceTask([] {});
    trial.operate([&] { pool.reset(); });
}

void creatingAMessageThread(Trial& trial) {
    const std::function<void(const Message&)> handler = [](const Message&) {};
    trial.operate([&] {
        MessageThread thread(handler);
        thread.start();
        thread.terminate();
    });
    MessageThread next(handler);
    next.start();
    next.terminate();
    trial.require(!next.isStarted(), "the next one");
}

void sending(Trial& trial) {
    std::atomic<int> received = 0;
    MessageThread thread([&](const Message&) { ++received; });
    thread.start();
    int sent = 0;
    trial.operate([&] {
        for (; sent < 100; ++sent) {
            thread.sendMessage(Message(1, 2));
        }
    });
    trial.require(waitUntil([&] { return received == sent; }), "a sent message is missing");
    thread.sendMessage(Message(1, 2));
    trial.require(waitUntil([&] { return received == sent + 1; }), "the next message");
}

void endingAMessageThread(Trial& trial) {
    std::atomic<int> received = 0;
    MessageThread thread([&](const Message&) { ++received; });
    thread.start();
    thread.sendMessage(Message(1, 2));
    trial.operate([&] { thread.terminate(); });
    trial.require(!thread.isStarted(), "is still started");
}

void movingAMessage(Trial& trial) {
    Message message(1, 2);
    std::unique_ptr<Message> moved;
    trial.operate([&] { moved = message.move(); });
    trial.require(message == Message(1, 2), "the message has changed");
    trial.require(trial.threw() || *moved == message, "another message");
}

void sharing(Trial& trial) {
    RecursiveSharedMutex mutex;
    trial.operate([&] { const std::shared_lock lock(mutex); });
    trial.require(mutex.try_lock(), "is still locked");
    mutex.unlock();
    const std::shared_lock again(mutex);
}

void resting(Trial& trial) {
    trial.operate([] {
        vorn::common::sched::CpuLoadRegulator regulator(1, 10);
        const auto until = std::chrono::steady_clock::now() + 30ms;
        while (std::chrono::steady_clock::now() < until) {
        }
        regulator.getSomeRest();
    });
}

void coolingDown(Trial& trial) {
    trial.operate([] {
        vorn::common::sched::CpuLoadCooldown cooldown(1, 10);
        vorn::common::sched::CpuLoadLoopCooldown loop(1, 10ms);
        cooldown.cooldown();
        loop.cooldown();
        cooldown.reset();
        loop.reset();
    });
}

std::vector<Row> rows() {
    return {
        Row{"Thread: start and wait", creatingAThread, Answer::Throws, Threads::All}
            .mayThrow<std::system_error>(""),
        Row{"ThreadPool: create and end", creatingAPool, Answer::Throws, Threads::All}
            .mayThrow<std::system_error>(""),
        {"ThreadPool: submit", submitting, Answer::Throws, Threads::All},
        {"ThreadPool: clear the queue", emptyingAPool, Answer::Throws, Threads::All},
        {"ThreadPool: end", endingAPool, Answer::Throws, Threads::All},
        Row{"MessageThread: create, start and end", creatingAMessageThread, Answer::Throws,
            Threads::All}
            .mayThrow<std::system_error>(""),
        {"MessageThread: send", sending, Answer::Throws, Threads::All},
        {"MessageThread: end", endingAMessageThread, Answer::Throws, Threads::All},
        {"Message::move", movingAMessage},
        {"RecursiveSharedMutex: share", sharing},
        {"CpuLoadRegulator", resting},
        {"Cooldown", coolingDown},
    };
}

TEST(ThreadsLadder, Allocations) {
    ladders::climbAllocations(rows());
}

TEST(ThreadsLadder, Calls) {
    ladders::climbCalls(rows());
}

}  // namespace
