// SPDX-License-Identifier: MIT

// The C library's calls that wait and wake, as the explorer models them for the threads of a case.
// All other threads of the program get the C library's own.

#include "schedules/calls.h"

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <time.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

#include "helpers/faults/Next.h"
#include "schedules/scheduler.h"

namespace schedules {
namespace {

using faults::interposition::Next;

Scheduler& scheduler() {
    return Scheduler::instance();
}

constexpr std::int64_t kSecond = 1'000'000'000;

/// Never for no limit, and for one beyond the clock.
std::int64_t nanoseconds(const timespec* time) {
    return time == nullptr || time->tv_sec >= kNever / kSecond
               ? kNever
               : time->tv_sec * kSecond + time->tv_nsec;
}

int waitOn(pthread_cond_t* condition, pthread_mutex_t* mutex, std::int64_t limit = kNever) {
    scheduler().decide("wait", condition);
    scheduler().unlock(mutex);
    const bool notified = scheduler().wait("wait", condition, limit);
    while (!scheduler().tryLock(mutex)) {
        static_cast<void>(scheduler().wait("lock", mutex));
    }
    return notified ? 0 : ETIMEDOUT;
}

long failWith(int error) {
    errno = error;
    return -1;
}

long futex(const int* word, long operation, int value, const timespec* limit) {
    const int command = static_cast<int>(operation) & FUTEX_CMD_MASK;
    switch (command) {
        case FUTEX_WAIT:  // with a duration; the other one with an instant
        case FUTEX_WAIT_BITSET: {
            scheduler().decide("futex wait", word);
            if (__atomic_load_n(word, __ATOMIC_SEQ_CST) != value) {
                return failWith(EAGAIN);
            }
            const bool lasts = command == FUTEX_WAIT && limit != nullptr;
            const std::int64_t end = nanoseconds(limit) + (lasts ? scheduler().now() : 0);
            return scheduler().wait("futex wait", word, end) ? 0 : failWith(ETIMEDOUT);
        }
        case FUTEX_WAKE:
        case FUTEX_WAKE_BITSET:
            scheduler().decide("futex wake", word);
            scheduler().wake(word);
            return 0;
        default:
            scheduler().fail("a futex operation that is not modelled");
    }
}

}  // namespace

// Under names of their own, as the C library's headers declare some calls with other types. What
// follows is the body for the threads of a case.
#define VORN_MODEL(symbol, Result, parameters, arguments)                             \
    constinit Next<Result parameters> symbol##Next{#symbol};                          \
    static Result symbol##Model parameters;                                           \
    [[gnu::visibility("default")]] Result symbol##Called parameters __asm__(#symbol); \
    Result symbol##Called parameters {                                                \
        return isExplored() ? symbol##Model arguments : symbol##Next arguments;       \
    }                                                                                 \
    Result symbol##Model parameters

extern "C" {

#pragma GCC diagnostic ignored "-Wunused-parameter"  // their names serve the call of the original

VORN_MODEL(pthread_mutex_lock, int, (pthread_mutex_t * mutex), (mutex)) {
    scheduler().lock(mutex);
    return 0;
}

VORN_MODEL(pthread_mutex_trylock, int, (pthread_mutex_t * mutex), (mutex)) {
    scheduler().decideUnlessSpinning("try to lock", mutex, mutex);
    return scheduler().tryLock(mutex) ? 0 : EBUSY;
}

VORN_MODEL(pthread_mutex_unlock, int, (pthread_mutex_t * mutex), (mutex)) {
    scheduler().decide("unlock", mutex);
    scheduler().unlock(mutex);
    return 0;
}

VORN_MODEL(pthread_cond_wait, int, (pthread_cond_t * condition, pthread_mutex_t* mutex),
           (condition, mutex)) {
    return waitOn(condition, mutex);
}

VORN_MODEL(pthread_cond_timedwait, int,
           (pthread_cond_t * condition, pthread_mutex_t* mutex, const timespec* limit),
           (condition, mutex, limit)) {
    return waitOn(condition, mutex, nanoseconds(limit));
}

VORN_MODEL(pthread_cond_clockwait, int,
           (pthread_cond_t * condition, pthread_mutex_t* mutex, clockid_t clock,
            const timespec* limit),
           (condition, mutex, clock, limit)) {
    return waitOn(condition, mutex, nanoseconds(limit));
}

VORN_MODEL(pthread_cond_signal, int, (pthread_cond_t * condition), (condition)) {
    scheduler().decide("notify one", condition);
    scheduler().wakeOne(condition);
    return 0;
}

VORN_MODEL(pthread_cond_broadcast, int, (pthread_cond_t * condition), (condition)) {
    scheduler().decide("notify all", condition);
    scheduler().wake(condition);
    return 0;
}

VORN_MODEL(pthread_cond_destroy, int, (pthread_cond_t * condition), (condition)) {
    scheduler().decide("destroy", condition);
    if (scheduler().isWaitedFor(condition)) {
        scheduler().fail("a condition is destroyed that somebody waits for");
    }
    return 0;
}

VORN_MODEL(pthread_create, int,
           (pthread_t * thread, const pthread_attr_t* attributes, void* (*routine)(void*),
            void* argument),
           (thread, attributes, routine, argument)) {
    scheduler().decide("create a thread", nullptr);
    *thread = scheduler().numberOf(scheduler().start([=] { routine(argument); }));
    return 0;
}

VORN_MODEL(pthread_join, int, (pthread_t thread, void** result), (thread, result)) {
    Worker& worker = scheduler().byNumber(thread);
    scheduler().decide("join", &worker);
    if (std::exchange(worker.joined, true)) {
        scheduler().fail("a thread is joined twice");
    }
    while (worker.state != Worker::State::Ended) {
        static_cast<void>(scheduler().wait("join", &worker));
    }
    return 0;
}

VORN_MODEL(pthread_self, pthread_t, (), ()) {
    return scheduler().numberOf(*Scheduler::self());
}

VORN_MODEL(sched_yield, int, (), ()) {
    scheduler().yield();
    return 0;
}

VORN_MODEL(nanosleep, int, (const timespec* request, timespec* left), (request, left)) {
    static_cast<void>(scheduler().wait("sleep", nullptr, scheduler().now() + nanoseconds(request)));
    return 0;
}

VORN_MODEL(clock_gettime, int, (clockid_t clock, timespec* time), (clock, time)) {
    *time = {scheduler().now() / kSecond, scheduler().now() % kSecond};
    return 0;
}

VORN_MODEL(syscall, long,
           (long number, long first, long second, long third, long fourth, long fifth, long sixth),
           (number, first, second, third, fourth, fifth, sixth)) {
    if (number != SYS_futex) {
        return syscallNext(number, first, second, third, fourth, fifth, sixth);
    }
    return futex(reinterpret_cast<const int*>(first), second, static_cast<int>(third),
                 reinterpret_cast<const timespec*>(fourth));
}

}  // extern "C"

int realThread(pthread_t* thread, void* (*routine)(void*), void* argument) {
    return pthread_createNext(thread, nullptr, routine, argument);
}

}  // namespace schedules

// What a thread of a case releases stays until the end of the schedule, as memory not to be
// touched.

void operator delete(void* block) noexcept {
    if (schedules::Scheduler::self() != nullptr && block != nullptr) {
        schedules::Scheduler::instance().release(block);
    } else {
        std::free(block);
    }
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    operator delete(block);
}
