// SPDX-License-Identifier: MIT
// Peer: Poco
// Guarantees: each deadline is the one before plus the interval; missed ones are skipped and
// counted; exceptions of the callback go to an error handler; no callback runs when stop returns.
// The thread comes from a pool, which keeps it; a pool without a free thread is an exception.
#include <semaphore>

#include <Poco/Timer.h>

#include "tasks.h"

namespace {

struct Counter {
    void onTimer(Poco::Timer&) { called.release(); }
    std::counting_semaphore<> called{0};
};

}  // namespace

std::string compared::peer::repeatEveryPeriod(const std::string& calls) {
    Counter counter;
    Poco::Timer timer(1, 1);
    timer.start(Poco::TimerCallback<Counter>(counter, &Counter::onTimer));
    for (int missing = std::stoi(calls); missing > 0; --missing) {
        counter.called.acquire();
    }
    timer.stop();
    return calls;
}
