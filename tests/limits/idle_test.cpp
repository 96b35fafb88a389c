// SPDX-License-Identifier: MIT
#include <time.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/Thread.h>
#include <vorn/common/ThreadPool.h>
#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/thread/MessageThread.h>
#include <vorn/common/time/ClockAlignedTimer.h>
#include <vorn/common/time/Timer.h>

#include "files/streamables.h"
#include "helpers/TempDir.h"
#include "helpers/environment.h"

namespace {

using namespace vorn::common;
using namespace std::chrono_literals;
using std::chrono::milliseconds;

std::chrono::nanoseconds processTime() {
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
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

    const auto start = std::chrono::steady_clock::now();
    const auto before = processTime();
    std::this_thread::sleep_for(1s);
    const auto used = processTime() - before;
    const auto elapsed = std::chrono::steady_clock::now() - start;
    const double percent =
        100.0 * static_cast<double>(used.count()) / static_cast<double>(elapsed.count());
    RecordProperty("percent", std::to_string(percent));
    // An emulator takes time of its own for every system call.
    EXPECT_LT(percent, helpers::kEmulated || helpers::kThreadSanitizer ? 5.0 : 1.0);
}

}  // namespace
