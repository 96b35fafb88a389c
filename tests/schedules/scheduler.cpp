// SPDX-License-Identifier: MIT
#include "schedules/scheduler.h"

#include <malloc.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "schedules/calls.h"

namespace schedules {
namespace {

constexpr std::size_t kMostSteps = 50'000;
constexpr int kRounds = 2;
constexpr std::int64_t kLongestDelay = 60'000'000'000;
constexpr std::int64_t kBeginning = 1'000'000'000'000'000'000;

constinit thread_local Worker* own = nullptr;

/// While it lives this thread, and those that it makes, have one processor: to hand the turn over
/// takes a tenth of the time then.
class OneProcessor {
  public:
    OneProcessor() {
        ::sched_getaffinity(0, sizeof(before_), &before_);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(::sched_getcpu(), &one);
        ::sched_setaffinity(0, sizeof(one), &one);
    }
    ~OneProcessor() { ::sched_setaffinity(0, sizeof(before_), &before_); }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

  private:
    cpu_set_t before_{};
};

void waitForTurn(sem_t& turn) {
    while (::sem_wait(&turn) != 0) {
    }
}

}  // namespace

Worker* Scheduler::self() {
    return own;
}

Scheduler& Scheduler::instance() {
    // Never destroyed: threads of a case that failed refer to it.
    static auto* const scheduler = new Scheduler;
    return *scheduler;
}

Result Scheduler::explore(const std::function<void()>& body, Options options) {
    const OneProcessor pinned;
    steps_.reserve(kMostSteps);
    options_ = options;
    failure_.clear();
    ::sem_init(&ended_, 0, 0);
    Result result;
    if (const char* const schedule = std::getenv("VORN_TESTS_SCHEDULE")) {
        following_ = true;
        follow(schedule);
        runOnce(body);
        following_ = false;
        result.schedules = 1;
    } else if (options.walks > 0) {
        for (; result.schedules < options.walks && failure_.empty(); ++result.schedules) {
            trail_.clear();
            random_.seed(static_cast<unsigned>(result.schedules) + 1);
            runOnce(body);
        }
    } else {
        for (bound_ = 0; bound_ <= options.preemptions && failure_.empty(); ++bound_) {
            trail_.clear();
            result.schedules = 0;
            do {
                runOnce(body);
                ++result.schedules;
            } while (failure_.empty() && advance());
        }
    }
    result.failure = failure_;
    if (!failure_.empty()) {
        workers_.clear();  // they stay where they are
    }
    return result;
}

void Scheduler::runOnce(const std::function<void()>& body) {
    position_ = 0;
    preemptions_ = 0;
    threads_ = 0;
    now_ = kBeginning;
    owners_.clear();
    steps_.clear();
    ::sem_post(&start(body).turn);
    waitForTurn(ended_);
    for (const auto& [block, gone] : gone_) {
        if (gone.allocated) {
            std::free(const_cast<std::byte*>(block));
        }
    }
    gone_.clear();
}

/// Prepares the next schedule: the last decision that has another option takes it.
bool Scheduler::advance() {
    while (!trail_.empty() && trail_.back().taken + 1 == trail_.back().options) {
        trail_.pop_back();
    }
    if (trail_.empty()) {
        return false;
    }
    ++trail_.back().taken;
    return true;
}

/// Of so many options the first ones are affordable. A decision counts also where only one is, so
/// that the text of a schedule means the same with any number of preemptions.
std::size_t Scheduler::choose(std::size_t options, std::size_t affordable) {
    if (options < 2) {
        return 0;
    }
    if (position_ == trail_.size()) {
        // A walk mostly stays with the first, which usually is the thread that runs.
        const bool strays = options_.walks > 0 && random_() % 4 == 0;
        trail_.push_back({strays ? random_() % affordable : 0, affordable});
    }
    const Decision& decision = trail_[position_++];
    if (decision.taken >= options || (!following_ && decision.options != affordable)) {
        fail("the case does not repeat itself");
    }
    return decision.taken;
}

/// Who may have the turn: the usual one first, and those that cost nothing before the others.
Scheduler::Candidates Scheduler::candidates(Worker& current, bool yields) const {
    Candidates found;
    const bool goesOn = current.state == Worker::State::Ready;
    if (goesOn && !yields) {
        found.add(&current, 0);
    }
    for (std::size_t i = 0; i < threads_; ++i) {
        if (workers_[i] != &current && workers_[i]->state == Worker::State::Ready) {
            found.add(workers_[i], goesOn && !yields ? 1 : 0);
        }
    }
    if (goesOn && yields) {
        found.add(&current, found.count == 0 ? 0 : 1);
    }
    // Time passes to the end of the first wait, and no farther. While others can run it is they who
    // are slow, but not by hours: the wait for those would hide that nobody wakes it.
    const int cost = found.count == 0 ? 0 : 1;
    std::int64_t first = cost == 0 ? kNever - 1 : now_ + kLongestDelay;
    for (std::size_t i = 0; i < threads_; ++i) {
        if (workers_[i]->state == Worker::State::Waiting) {
            first = std::min(first, workers_[i]->limit);
        }
    }
    for (std::size_t i = 0; i < threads_; ++i) {
        if (workers_[i]->state == Worker::State::Waiting && workers_[i]->limit == first) {
            found.add(workers_[i], cost);
        }
    }
    return found;
}

/// Ends all waits that have no longer limits.
void Scheduler::passTime(std::int64_t until) {
    now_ = std::max(now_, until);
    for (std::size_t i = 0; i < threads_; ++i) {
        Worker& worker = *workers_[i];
        if (worker.state == Worker::State::Waiting && worker.limit <= now_) {
            worker.state = Worker::State::Ready;
            worker.timedOut = true;
        }
    }
}

/// Decides who goes on, and returns when this thread has the turn again, or at once when it ended.
void Scheduler::next(Worker& current, bool yields) {
    if (steps_.size() == kMostSteps) {
        fail("it does not end");
    }
    const auto options = candidates(current, yields);
    if (options.count == 0) {
        if (std::any_of(workers_.begin(), workers_.begin() + static_cast<long>(threads_),
                        [](const auto* worker) { return worker->state != Worker::State::Ended; })) {
            fail("nobody can run any more");
        }
        ::sem_post(&ended_);
        return;
    }
    const auto affordable = std::count_if(
        options.at.begin(), options.at.begin() + options.count, [this](const auto& candidate) {
            return candidate.cost == 0 || preemptions_ < bound_ || options_.walks > 0;
        });
    const Candidate chosen =
        options.at[choose(options.count, static_cast<std::size_t>(affordable))];
    preemptions_ += chosen.cost;
    Worker& worker = *chosen.worker;
    if (worker.state == Worker::State::Waiting) {
        passTime(worker.limit);
    }
    steps_.push_back({worker.index, worker.action, worker.object});
    if (&worker == &current) {
        return;
    }
    worker.rounds.clear();
    const bool ended = current.state == Worker::State::Ended;
    ::sem_post(&worker.turn);
    if (!ended) {
        waitForTurn(current.turn);
    }
}

void Scheduler::decide(const char* action, const void* object) {
    own->action = action;
    own->object = object;
    touch(object, 1);
    next(*own);
    // Others may have run meanwhile.
    touch(object, 1);
}

void Scheduler::decideUnlessSpinning(const char* action, const void* object, const void* place) {
    if (++own->rounds[{place, object}] <= kRounds) {
        decide(action, object);
    }
}

void Scheduler::yield() {
    own->action = "yield";
    own->object = nullptr;
    next(*own, true);
}

bool Scheduler::wait(const char* action, const void* object, std::int64_t limit) {
    own->action = action;
    own->object = object;
    own->limit = limit;
    own->timedOut = limit <= now_;
    own->state = own->timedOut ? Worker::State::Ready : Worker::State::Waiting;
    next(*own);
    return !own->timedOut;
}

void Scheduler::wake(const void* object) {
    for (std::size_t i = 0; i < threads_; ++i) {
        if (workers_[i]->state == Worker::State::Waiting && workers_[i]->object == object) {
            workers_[i]->state = Worker::State::Ready;
        }
    }
}

void Scheduler::wakeOne(const void* object) {
    std::vector<Worker*> waiting;
    std::copy_if(workers_.begin(), workers_.begin() + static_cast<long>(threads_),
                 std::back_inserter(waiting), [&](const auto* worker) {
                     return worker->state == Worker::State::Waiting && worker->object == object;
                 });
    if (!waiting.empty()) {
        waiting[choose(waiting.size(), waiting.size())]->state = Worker::State::Ready;
    }
}

bool Scheduler::isWaitedFor(const void* object) const {
    return std::any_of(
        workers_.begin(), workers_.begin() + static_cast<long>(threads_), [&](const auto* worker) {
            return worker->state == Worker::State::Waiting && worker->object == object;
        });
}

void Scheduler::touch(const void* address, std::size_t size) {
    const auto* const begin = static_cast<const std::byte*>(address);
    const auto behind = gone_.lower_bound(begin + size);
    if (behind == gone_.begin()) {
        return;
    }
    const auto& [block, gone] = *std::prev(behind);
    if (begin < block + gone.size && failure_.empty()) {
        fail("what was destroyed is used");
    }
}

void Scheduler::forbid(const void* memory, std::size_t size) {
    gone_[static_cast<const std::byte*>(memory)] = {size, false};
}

void Scheduler::release(void* block) {
    gone_[static_cast<const std::byte*>(block)] = {::malloc_usable_size(block), true};
}

void Scheduler::fail(const std::string& what) {
    failure_ = what + story() + "\nVORN_TESTS_SCHEDULE='" + schedule() + "'";
    ::sem_post(&ended_);
    // Without unwinding, which would run the case's own code.
    for (;;) {
        ::pause();
    }
}

void Scheduler::lock(const void* mutex) {
    decide("lock", mutex);
    while (!owners_.try_emplace(mutex, own).second) {
        static_cast<void>(wait("lock", mutex));
    }
}

bool Scheduler::tryLock(const void* mutex) {
    return owners_.try_emplace(mutex, own).second;
}

void Scheduler::unlock(const void* mutex) {
    const auto owner = owners_.find(mutex);
    if (owner == owners_.end() || owner->second != own) {
        fail("a mutex is released by a thread that does not hold it");
    }
    owners_.erase(owner);
    wake(mutex);
}

Worker& Scheduler::start(std::function<void()> job) {
    if (threads_ == kMostThreads) {
        fail("too many threads");
    }
    if (threads_ == workers_.size()) {
        auto* const worker = new Worker;  // may have to stay
        worker->index = static_cast<int>(threads_);
        ::sem_init(&worker->turn, 0, 0);
        workers_.push_back(worker);
        pthread_t thread{};
        if (realThread(&thread, &Scheduler::work, worker) != 0) {
            std::abort();
        }
    }
    Worker& worker = *workers_[threads_++];
    worker.job = std::move(job);
    worker.state = Worker::State::Ready;
    worker.joined = false;
    worker.rounds.clear();
    worker.action = "start";
    worker.object = nullptr;
    return worker;
}

void* Scheduler::work(void* argument) {
    own = static_cast<Worker*>(argument);
    for (;;) {
        waitForTurn(own->turn);
        own->job();
        own->action = "end";
        own->object = nullptr;
        own->state = Worker::State::Ended;
        instance().wake(own);
        instance().next(*own);
    }
}

Worker& Scheduler::byNumber(pthread_t number) {
    for (std::size_t i = 0; i < threads_; ++i) {
        if (numberOf(*workers_[i]) == number) {
            return *workers_[i];
        }
    }
    fail("no such thread");
}

/// Like the address of a control block, the same in every run. Two threads each have the same bits
/// where RecursiveSharedMutex chooses a slot by them.
pthread_t Scheduler::numberOf(const Worker& worker) const {
    const auto index = static_cast<pthread_t>(worker.index);
    return (index + 1) << 15U | (index / 2 % 8) << 12U;
}

}  // namespace schedules
