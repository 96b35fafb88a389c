// SPDX-License-Identifier: MIT
#include <sys/stat.h>
#include <time.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <ios>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/RecursiveSharedMutex.h>
#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/Thread.h>
#include <vorn/common/ThreadPool.h>
#include <vorn/common/executable/Executable.h>
#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/fs/FileMutex.h>
#include <vorn/common/fs/LockedFile.h>
#include <vorn/common/thread/MessageThread.h>
#include <vorn/common/time/ClockAlignedTimer.h>
#include <vorn/common/time/Timer.h>

#include "files/streamables.h"
#include "helpers/TempDir.h"
#include "helpers/background.h"
#include "helpers/environment.h"
#include "processes/ScriptObserver.h"

namespace {

using namespace vorn::common;
using namespace std::chrono_literals;
using std::chrono::milliseconds;

std::chrono::nanoseconds processTime() {
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// What this process takes of a processor during one second.
double percentOfAProcessor() {
    const auto start = std::chrono::steady_clock::now();
    const auto before = processTime();
    std::this_thread::sleep_for(1s);
    const auto used = processTime() - before;
    const auto elapsed = std::chrono::steady_clock::now() - start;
    return 100.0 * static_cast<double>(used.count()) / static_cast<double>(elapsed.count());
}

/// Threads that were just started may still be on their way to what they wait for when the machine
/// is busy: the first second of several without that counts. What spins, spins in each of them.
void expectIdle() {
    // An emulator and a sanitizer take time of their own for every system call; an emulated machine
    // takes a tenth of its processor for what is a hundredth of a real one. What spins takes all of
    // it.
    const bool slowMachine = helpers::kForeign && !helpers::kEmulated;
    const bool slowCalls =
        helpers::kEmulated || helpers::kThreadSanitizer || helpers::kAddressSanitizer;
    const double limit = slowMachine ? 30.0 : slowCalls ? 5.0 : 1.0;
    constexpr int kMostSeconds = 5;
    double percent = percentOfAProcessor();
    for (int second = 1; second < kMostSeconds && percent >= limit; ++second) {
        percent = percentOfAProcessor();
    }
    testing::Test::RecordProperty("percent", std::to_string(percent));
    EXPECT_LT(percent, limit);
}

/// The shortest and the longest waits that its type can hold: on 32 bits, or with a sum that
/// overflows, they come back at once and the thread spins.
TEST(Idle, ObjectsThatWaitTakeLessThanOnePercentOfAProcessor) {
    std::vector<std::unique_ptr<time::Timer>> timers;
    std::vector<std::unique_ptr<time::ClockAlignedTimer>> alignedTimers;
    for (const milliseconds period : {milliseconds(1h), milliseconds(24h * 365 * 100),
                                      milliseconds::max() / 2, milliseconds::max()}) {
        timers.push_back(std::make_unique<time::Timer>([] {}, period));
        std::unique_lock lock(timers.back()->mutex());
        timers.back()->start(lock);
        lock.unlock();
        alignedTimers.push_back(std::make_unique<time::ClockAlignedTimer>(
            [](auto) {}, period,
            [](auto now) {
                return now;  // the next boundary is a whole period away
            }));
        std::unique_lock alignedLock(alignedTimers.back()->mutex());
        alignedTimers.back()->start(alignedLock);
    }
    ThreadPool pool(4);
    thread::MessageThread messages([](const thread::Message&) {});
    messages.start();
    executable::ExecutableManager programs(2);
    ScriptExecutor scripts(2, kDefaultScriptRoutine);
    scripts.start();
    const helpers::TempDir directory;
    fs::CachedFileManager manager;
    fs::CachedFileManager::Options options;
    options.writeDelay = milliseconds::max();
    manager.add(std::make_unique<files::Text>(), directory.file("a"), options);
    manager.getHandler(typeid(files::Text)).lock().write();

    expectIdle();
}

/// An own thread for each, which is left waiting for what never comes by itself.
TEST(Idle, OperationsThatWaitTakeLessThanOnePercentOfAProcessor) {
    const helpers::TempDir directory;
    const auto taken = directory.file("taken");
    const auto lockPath = taken + ".lck";
    const auto missing = directory.file("missing");
    // Far away: the waits end when they get what they wait for.
    const auto deadline = std::chrono::steady_clock::now() + 10min;
    fs::FileMutex holder(lockPath);
    std::unique_lock held(holder);
    RecursiveSharedMutex forWriters;
    RecursiveSharedMutex forReaders;
    forReaders.lock();
    forWriters.lock_shared();
    // A process that is waited for in each of the ways that a limit makes.
    executable::Executable limited({"/bin/sleep", "600"}, {.timeout = 1h});
    limited.execAsync({});
    executable::Executable unlimited({"/bin/sleep", "600"}, {});
    unlimited.execAsync({});
    Observer observer;
    ScriptExecutor scripts(1, kDefaultScriptRoutine);
    scripts.start();
    vorn::common::Script script;
    const auto go = directory.file("go");
    ::mkfifo(go.c_str(), 0600);
    script.content = "read x <" + go;
    scripts.execute(script, &observer, time::SecondsDuration(3600));

    std::vector<std::future<void>> waits;
    const auto start = [&](std::function<void()> operation) {
        waits.push_back(helpers::inBackground(std::move(operation)));
    };
    start([&] { const std::unique_lock lock(forWriters); });
    start([&] { const std::shared_lock lock(forReaders); });
    start([&] { const std::unique_lock lock(forReaders); });
    start([&] {
        fs::FileMutex mutex(lockPath);
        const std::unique_lock lock(mutex, deadline);
        EXPECT_TRUE(lock);
    });
    start([&] { static_cast<void>(fs::LockedFile::waitUntil(missing, deadline)); });
    start([&] { static_cast<void>(fs::LockedFile::tryCreateUntil(taken, deadline)); });
    expectIdle();
    EXPECT_EQ(observer.ends(), 0U);

    forWriters.unlock_shared();
    forReaders.unlock();
    held.unlock();
    static_cast<void>(directory.write("missing", ""));
    static_cast<void>(std::ofstream(go) << "go\n");
    for (auto& wait : waits) {
        wait.get();
    }
    EXPECT_TRUE(observer.waitForEnds(1));
}

TEST(Idle, AnObjectThatIsDueAndKeptLockedTakesLessThanOnePercentOfAProcessor) {
    const helpers::TempDir directory;
    const auto path = directory.file("a");
    fs::CachedFileManager manager;
    fs::CachedFileManager::Options options;
    options.writeDelay = 0ms;
    manager.add(std::make_unique<files::Text>(), path, options);
    {
        const auto due = manager.getHandler(typeid(files::Text)).lock();
        due.write();
        expectIdle();
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    EXPECT_TRUE(helpers::waitUntil([&] { return std::filesystem::exists(path); }));
}

}  // namespace
