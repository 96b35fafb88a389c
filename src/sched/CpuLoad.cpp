// SPDX-License-Identifier: MIT
#include "sched/CpuLoad.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "internal/saturate.h"
#include "posix/sleep.h"
#include "posix/wallClock.h"

namespace vorn::common::internal {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

class ProcessLoadMeter final : public LoadMeter {
  public:
    std::int64_t cpuTimeUs() override { return sched::getProcessCpuTimeUs(); }
    std::chrono::system_clock::time_point wallNow() override { return wallClockNow(); }
    void sleep(std::chrono::nanoseconds duration) override { sleepFor(duration); }
};

// Usable by regulators that are static objects of other files, at any time.
constinit ProcessLoadMeter meterOfTheProcess;

struct Overload {
    std::int64_t wallMs;    // since the last sample
    std::int64_t neededMs;  // of wall time, for the CPU time to be the allowed share
};

std::optional<Overload> overload(const sched::LoadSample& last, const sched::LoadSample& now,
                                 std::int64_t ratio) {
    // Not readable: to rest by a guess could stop a loop that uses little.
    if (now.cpuMs == 0) {
        return std::nullopt;
    }
    const auto wall = now.wallMs - last.wallMs;
    // Nothing has passed, or the clock was set back: there is no share to speak of.
    if (wall < 1) {
        return std::nullopt;
    }
    const auto cpu = now.cpuMs - last.cpuMs;
    if (ratio * wall >= cpu * 100) {
        return std::nullopt;
    }
    return Overload{wall, cpu * 100 / ratio};
}

}  // namespace

sched::LoadSample LoadMeter::sample() {
    const auto cpuMs = cpuTimeUs() / 1000;
    const auto sinceEpoch = wallNow().time_since_epoch();
    return {cpuMs, duration_cast<milliseconds>(sinceEpoch).count()};
}

LoadMeter& processLoadMeter() noexcept {
    return meterOfTheProcess;
}

void checkRatio(std::int64_t ratio) {
    if (ratio < 1 || ratio > 100) {
        throw std::out_of_range("Ratio is out of range");
    }
}

void checkRest(bool inRange) {
    if (!inRange) {
        throw std::out_of_range("Maximum rest time is out of range");
    }
}

void restBounded(LoadMeter& meter, sched::LoadSample& last, std::int64_t ratio,
                 std::int64_t maxRestMs) {
    const auto over = overload(last, meter.sample(), ratio);
    if (!over) {
        return;
    }
    const auto rest = std::min(maxRestMs, over->neededMs - over->wallMs);
    if (rest >= 1) {
        meter.sleep(milliseconds(rest));
    }
    // After a rest cut short too: the rest of the debt is forgiven, or one burst would be paid for
    // with many rests.
    last = meter.sample();
}

void restWithinInterval(LoadMeter& meter, sched::LoadSample& last, std::int64_t ratio,
                        std::chrono::milliseconds interval) {
    const auto over = overload(last, meter.sample(), ratio);
    if (!over) {
        return;
    }
    // Saturated: the interval has no lower limit.
    const milliseconds limit(saturatingAdd(last.wallMs, interval.count()));
    const milliseconds needed(last.wallMs + over->neededMs);
    const std::chrono::system_clock::time_point wakeAt(
        saturatingNanoseconds(std::min(needed, limit)));
    // The sleep is monotonic and the end of the rest is not: looked at again after each sleep.
    for (auto now = meter.wallNow(); now < wakeAt; now = meter.wallNow()) {
        meter.sleep(wakeAt - now);
    }
    last = meter.sample();
}

}  // namespace vorn::common::internal
