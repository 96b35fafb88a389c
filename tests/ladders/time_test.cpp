// SPDX-License-Identifier: MIT
#include <atomic>
#include <chrono>
#include <mutex>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/time/ClockAlignedTimer.h>
#include <vorn/common/time/SecondsDuration.h>
#include <vorn/common/time/Timer.h>
#include <vorn/common/time/UnixTime.h>

#include "helpers/wait_until.h"
#include "ladders/Ladder.h"

namespace {

using namespace std::chrono_literals;
using faults::Threads;
using ladders::Answer;
using ladders::Row;
using ladders::Trial;
using vorn::common::time::ClockAlignedTimer;
using vorn::common::time::Recurrence;
using vorn::common::time::SecondsDuration;
using vorn::common::time::Timer;
using vorn::common::time::UnixTime;

template <class AnyTimer>
bool fires(AnyTimer& timer, const std::atomic<int>& calls) {
    const int before = calls;
    timer.start();
    return helpers::waitUntil([&] { return calls > before; });
}

template <class AnyTimer, class Callback>
void creating(Trial& trial) {
    std::atomic<int> calls = 0;
    const Callback callback = [&](auto...) { ++calls; };
    trial.operate([&] { const AnyTimer timer(callback, 1ms); });
    AnyTimer timer(callback, 1ms);
    trial.require(fires(timer, calls), "the next timer does not fire");
}

template <class AnyTimer, class Callback>
void starting(Trial& trial) {
    std::atomic<int> calls = 0;
    const Callback callback = [&](auto...) { ++calls; };
    AnyTimer timer(callback, 1ms);
    trial.operate([&] { timer.start(); });
    if (!trial.threw()) {
        trial.require(helpers::waitUntil([&] { return calls > 0; }), "does not fire");
    }
    trial.require(fires(timer, calls), "does not fire when started again");
}

template <class AnyTimer, class Callback>
void ending(Trial& trial) {
    std::atomic<int> calls = 0;
    const Callback callback = [&](auto...) { ++calls; };
    AnyTimer timer(callback, 1ms);
    trial.require(fires(timer, calls), "does not fire");
    trial.operate([&] {
        std::unique_lock lock(timer.mutex());
        timer.setPeriod(2ms, lock);
        timer.reload(lock);
        lock.unlock();
        timer.stop();
        timer.terminate();
    });
    timer.terminate();
    const int after = calls;
    trial.require(!timer.isRunning() && calls == after, "still runs");
}

void writing(Trial& trial) {
    std::string text;
    const UnixTime time(1700000000, 250000000);
    trial.operate([&] { text = time.toIso8601(); });
    trial.require(trial.threw() || text == time.toIso8601(), "another text");
}

void reading(Trial& trial) {
    const std::string text = "2023-11-14T22:13:20.250+01:00";
    auto time = UnixTime::UNDEFINED;
    bool read = false;
    trial.operate([&] { read = time.parseIso8601(text); });
    trial.require(read || time == UnixTime::UNDEFINED, "changed although it failed");
    trial.require(time.parseIso8601(text), "the next use");
}

void printing(Trial& trial) {
    std::ostringstream out;
    out.exceptions(std::ios_base::badbit);
    trial.operate([&] { out << UnixTime(1700000000, 250000000); });
}

void scheduling(Trial& trial) {
    std::atomic<int> calls = 0;
    Timer timer([&] { ++calls; }, 1ms, Recurrence::OneShot);
    trial.operate([&] { timer.scheduleAt(UnixTime(0, 0)); });
    trial.require(trial.threw() || helpers::waitUntil([&] { return calls == 1; }), "does not fire");
    trial.require(fires(timer, calls), "does not fire when started again");
}

void printingADuration(Trial& trial) {
    std::ostringstream out;
    out.exceptions(std::ios_base::badbit);
    trial.operate([&] { out << std::string(600, ' ') << SecondsDuration(4000000000U); });
    trial.require(trial.threw() || out.str().size() > 600, "another text");
}

std::vector<Row> timers() {
    using Aligned = ClockAlignedTimer;
    using Callback = std::function<void()>;
    return {
        {"Timer::scheduleAt", scheduling, Answer::Throws, Threads::All},
        Row{"Timer: create", creating<Timer, Callback>, Answer::Throws, Threads::All}
            .mayThrow<std::system_error>(""),
        {"Timer: start", starting<Timer, Callback>, Answer::Throws, Threads::All},
        {"Timer: change and end", ending<Timer, Callback>, Answer::Throws, Threads::All},
        Row{"ClockAlignedTimer: create", creating<Aligned, Aligned::Callback>, Answer::Throws,
            Threads::All}
            .mayThrow<std::system_error>(""),
        {"ClockAlignedTimer: start", starting<Aligned, Aligned::Callback>, Answer::Throws,
         Threads::All},
        {"ClockAlignedTimer: change and end", ending<Aligned, Aligned::Callback>, Answer::Throws,
         Threads::All},
    };
}

TEST(TimeLadder, Allocations) {
    auto rows = timers();
    rows.push_back({"UnixTime::toIso8601", writing});
    rows.push_back({"UnixTime::parseIso8601", reading});
    rows.push_back({"ostream << UnixTime", printing});
    rows.push_back({"ostream << SecondsDuration", printingADuration});
    ladders::climbAllocations(rows);
}

TEST(TimeLadder, Calls) {
    ladders::climbCalls(timers());
}

}  // namespace
