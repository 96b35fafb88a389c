// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "schedules/explore.h"

namespace schedules {

/// Instants are nanoseconds of a clock that only moves when a wait ends by itself.
inline constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

inline constexpr std::size_t kMostThreads = 16;

/// A thread of a case, on a thread of the system that is used again by the next schedule.
struct Worker {
    enum class State { Ready, Waiting, Ended };

    int index = 0;
    State state = State::Ended;
    bool joined = false;
    std::function<void()> job;
    const char* action = "";       // what it is about to do, or waits in
    const void* object = nullptr;  // with what
    std::int64_t limit = kNever;   // when the wait ends by itself
    bool timedOut = false;         // and that it did
    std::map<std::pair<const void*, const void*>, int> rounds;  // place and object: how often
    sem_t turn{};
};

class Scheduler {
  public:
    /// Null outside the threads of a case.
    static Worker* self();
    static Scheduler& instance();

    [[nodiscard]] Result explore(const std::function<void()>& body, Options options);

    /// The rest is for the thread whose turn it is.
    void decide(const char* action, const void* object);
    /// As decide(), but for places that a thread passes again and again while it spins.
    void decideUnlessSpinning(const char* action, const void* object, const void* place);
    void yield();
    /// False when the wait ended by itself.
    [[nodiscard]] bool wait(const char* action, const void* object, std::int64_t limit = kNever);
    [[nodiscard]] std::int64_t now() const { return now_; }
    void wake(const void* object);
    void wakeOne(const void* object);
    [[nodiscard]] bool isWaitedFor(const void* object) const;
    void touch(const void* address, std::size_t size);
    void forbid(const void* memory, std::size_t size);
    /// Forbids a block that was allocated, and keeps it until the schedule has ended.
    void release(void* block);
    [[noreturn]] void fail(const std::string& what);

    void lock(const void* mutex);
    [[nodiscard]] bool tryLock(const void* mutex);
    void unlock(const void* mutex);

    [[nodiscard]] Worker& start(std::function<void()> job);
    [[nodiscard]] Worker& byNumber(pthread_t number);
    [[nodiscard]] pthread_t numberOf(const Worker& worker) const;

  private:
    struct Decision {
        std::size_t taken;
        std::size_t options;
    };
    struct Candidate {
        Worker* worker = nullptr;
        int cost = 0;
    };
    struct Candidates {
        void add(Worker* worker, int cost) { at[count++] = {worker, cost}; }
        std::array<Candidate, kMostThreads> at;
        std::size_t count = 0;
    };
    struct Gone {
        std::size_t size;
        bool allocated;  // and goes back at the end of the schedule
    };
    struct Step {
        int thread;
        const char* action;
        const void* object;
    };

    void runOnce(const std::function<void()>& body);
    [[nodiscard]] bool advance();
    [[nodiscard]] std::size_t choose(std::size_t options, std::size_t affordable);
    [[nodiscard]] Candidates candidates(Worker& current, bool yields) const;
    void passTime(std::int64_t until);
    void next(Worker& current, bool yields = false);
    void follow(const char* schedule);
    [[nodiscard]] std::string schedule() const;
    [[nodiscard]] std::string story() const;
    static void* work(void* worker);

    Options options_;
    int bound_ = 0;
    bool following_ = false;  // the trail came as a text

    // Of one schedule.
    std::vector<Decision> trail_;
    std::size_t position_ = 0;
    int preemptions_ = 0;
    std::int64_t now_ = 0;
    std::size_t threads_ = 0;
    std::map<const void*, Worker*> owners_;  // of the mutexes that are locked
    std::vector<Step> steps_;
    std::map<const std::byte*, Gone> gone_;  // what must not be touched
    std::minstd_rand random_;

    std::vector<Worker*> workers_;
    std::string failure_;
    sem_t ended_{};
};

}  // namespace schedules
