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

/// What this process takes of a processor meanwhile.
void expectIdle() {
    const auto start = std::chrono::steady_clock::now();
    const auto before = processTime();
    std::this_thread::sleep_for(1s);
    const auto used = processTime() - before;
    const auto elapsed = std::chrono::steady_clock::now() - start;
    const double percent =
        100.0 * static_cast<double>(used.count()) / static_cast<double>(elapsed.count());
    testing::Test::RecordProperty("percent", std::to_string(percent));
    // An emulator takes time of its own for every system call; an emulated machine takes a tenth of
    // its processor for what is a hundredth of a real one. What spins takes all of it.
    const bool slowMachine = helpers::kForeign && !helpers::kEmulated;
    const bool slowCalls = helpers::kEmulated || helpers::kThreadSanitizer;
    EXPECT_LT(percent, slowMachine ? 30.0 : slowCalls ? 5.0 : 1.0);
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
    const auto lockPath = directory.file("taken.lck");
    const auto missing = directory.file("missing");
    const auto deadline = std::chrono::steady_clock::now() + 3s;
    fs::FileMutex holder(lockPath);
    const std::unique_lock held(holder);
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
    const auto wait = [&](std::function<void()> operation) {
        waits.push_back(helpers::inBackground(std::move(operation)));
    };
    wait([&] { const std::unique_lock lock(forWriters); });
    wait([&] { const std::shared_lock lock(forReaders); });
    wait([&] { const std::unique_lock lock(forReaders); });
    wait([&] {
        fs::FileMutex mutex(lockPath);
        EXPECT_FALSE(mutex.try_lock_until(deadline));
    });
    wait([&] {
        EXPECT_THROW(fs::LockedFile::waitUntil(missing, deadline), std::ios_base::failure);
    });
    wait([&] {
        EXPECT_THROW(fs::LockedFile::tryCreateUntil(directory.file("taken"), deadline),
                     std::ios_base::failure);
    });
    expectIdle();
    EXPECT_EQ(observer.ends(), 0U);

    forWriters.unlock_shared();
    forReaders.unlock();
    static_cast<void>(std::ofstream(go) << "go\n");
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
