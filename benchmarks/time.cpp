// SPDX-License-Identifier: MIT

// Timers: how late a call comes, how far 500 periods drift, and what arming costs.

#include <algorithm>
#include <chrono>
#include <functional>
#include <semaphore>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include <vorn/common/time/ClockAlignedTimer.h>
#include <vorn/common/time/Timer.h>

#ifdef VORN_PEER_BOOST
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#endif

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;
using vorn::common::time::ClockAlignedTimer;
using vorn::common::time::Recurrence;
using vorn::common::time::Timer;

/// The time of an iteration is the median lateness of 25 calls: start() must lead to fired = the
/// time of the call and a release of `done`, so many milliseconds later.
template <class Start>
void lateness(benchmark::State& state, std::chrono::milliseconds delay, Start start) {
    for (auto _ : state) {
        std::vector<double> calls(25);
        for (auto& call : calls) {
            std::binary_semaphore done(0);
            Steady::time_point fired;
            const auto due = Steady::now() + delay;
            start([&] {
                fired = Steady::now();
                done.release();
            });
            done.acquire();
            call = std::chrono::duration<double>(fired - due).count();
        }
        std::nth_element(calls.begin(), calls.begin() + 12, calls.end());
        state.SetIterationTime(calls[12]);
    }
}

void latenessVorn(benchmark::State& state) {
    const std::chrono::milliseconds delay(state.range(0));
    std::function<void()> action;
    Timer timer([&] { action(); }, delay, Recurrence::OneShot);
    lateness(state, delay, [&](auto callback) {
        {
            const std::lock_guard lock(timer.mutex());
            action = callback;
        }
        timer.start();
    });
}
BENCHMARK(latenessVorn)
    ->Name("timer_lateness/vorn")
    ->Arg(1)
    ->Arg(5)
    ->UseManualTime()
    ->Iterations(4);

/// How far the last of 500 calls of a 1 ms timer is from its exact schedule.
void driftVorn(benchmark::State& state) {
    constexpr int kCalls = 500;
    for (auto _ : state) {
        std::binary_semaphore done(0);
        int calls = 0;
        Steady::time_point last;
        Timer timer(
            [&] {
                if (++calls == kCalls) {
                    last = Steady::now();
                    done.release();
                }
            },
            1ms);
        const auto start = Steady::now();
        timer.start();
        done.acquire();
        timer.terminate();
        state.SetIterationTime(std::chrono::duration<double>(last - start - kCalls * 1ms).count());
    }
}
BENCHMARK(driftVorn)->Name("timer_drift_of_500_periods/vorn")->UseManualTime()->Iterations(5);

void armVorn(benchmark::State& state) {
    Timer timer([] {}, 1h);
    for (auto _ : state) {
        timer.restart();
    }
}
BENCHMARK(armVorn)->Name("timer_restart/vorn")->UseRealTime();

void startAndStopVorn(benchmark::State& state) {
    Timer timer([] {}, 1h);
    for (auto _ : state) {
        timer.start();
        timer.stop();
    }
}
BENCHMARK(startAndStopVorn)->Name("timer_start_and_stop/vorn")->UseRealTime();

void nextBoundaryVorn(benchmark::State& state) {
    const ClockAlignedTimer timer({}, 15min);
    std::unique_lock lock(timer.mutex());
    auto now = std::chrono::system_clock::now();
    for (auto _ : state) {
        now += 1s;
        benchmark::DoNotOptimize(timer.getNextTimePoint(now, lock));
    }
}
BENCHMARK(nextBoundaryVorn)->Name("next_boundary/vorn");

#ifdef VORN_PEER_BOOST
/// One context on one thread.
class AsioThread {
  public:
    AsioThread() : thread_([this] { context.run(); }) {}
    ~AsioThread() {
        context.stop();
        thread_.join();
    }
    AsioThread(const AsioThread&) = delete;
    AsioThread& operator=(const AsioThread&) = delete;

    boost::asio::io_context context;

  private:
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_{
        context.get_executor()};
    std::thread thread_;
};

void latenessAsio(benchmark::State& state) {
    const std::chrono::milliseconds delay(state.range(0));
    AsioThread thread;
    boost::asio::steady_timer timer(thread.context);
    lateness(state, delay, [&](auto callback) {
        timer.expires_after(delay);
        timer.async_wait([callback](const boost::system::error_code&) { callback(); });
    });
}
BENCHMARK(latenessAsio)
    ->Name("timer_lateness/boost_asio")
    ->Arg(1)
    ->Arg(5)
    ->UseManualTime()
    ->Iterations(4);

void armAsio(benchmark::State& state) {
    AsioThread thread;
    boost::asio::steady_timer timer(thread.context);
    for (auto _ : state) {
        timer.expires_after(1h);
        timer.async_wait([](const boost::system::error_code&) {});
    }
}
BENCHMARK(armAsio)->Name("timer_restart/boost_asio")->UseRealTime();

void startAndStopAsio(benchmark::State& state) {
    AsioThread thread;
    boost::asio::steady_timer timer(thread.context);
    for (auto _ : state) {
        timer.expires_after(1h);
        timer.async_wait([](const boost::system::error_code&) {});
        timer.cancel();
    }
}
BENCHMARK(startAndStopAsio)->Name("timer_start_and_stop/boost_asio")->UseRealTime();
#endif

}  // namespace
