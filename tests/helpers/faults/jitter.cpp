// SPDX-License-Identifier: MIT

// With VORN_TESTS_JITTER=NUMBER in the environment threads dawdle where they lock, unlock, wait,
// notify and make the calls that faults can watch: half of the times not at all, sometimes a yield,
// sometimes up to 200 microseconds. Other numbers give other pauses. Without it: one look at a
// variable. The operations on locks are counted too.

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>

#include "helpers/faults/Next.h"
#include "helpers/faults/interposition.h"
#include "helpers/faults/locks.h"

namespace faults::interposition {
namespace {

constinit std::atomic<std::uint32_t> seed{0};  // 0: no pauses
constinit std::atomic<std::uint32_t> threads{0};
constinit thread_local std::uint32_t random = 0;
constinit thread_local std::size_t lockOperations = 0;

[[gnu::constructor]] void readSeed() {
    if (const char* const text = std::getenv("VORN_TESTS_JITTER")) {
        seed = static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10)) | 1U << 31U;
    }
}

std::uint32_t draw() {
    if (random == 0) {
        random = seed + 2'654'435'761U * ++threads;
    }
    // By George Marsaglia: all numbers but 0, which stays 0.
    random ^= random << 13U;
    random ^= random >> 17U;
    random ^= random << 5U;
    return random;
}

}  // namespace

void jitter() {
    if (seed.load(std::memory_order_relaxed) == 0) {
        return;
    }
    const int error = errno;
    const std::uint32_t drawn = draw() >> 8U;
    if (drawn % 8 == 0) {
        pause(std::chrono::microseconds(drawn / 8 % 200));
    } else if (drawn % 8 < 4) {
        yield();
    }
    errno = error;
}

#define VORN_DAWDLE(symbol, parameters, arguments)                                  \
    constinit Next<int parameters> symbol##Next{#symbol};                           \
    [[gnu::constructor]] void symbol##Resolve() {                                   \
        symbol##Next.resolve();                                                     \
    }                                                                               \
    [[gnu::visibility("default")]] int symbol##Dawdled parameters __asm__(#symbol); \
    int symbol##Dawdled parameters {                                                \
        ++lockOperations;                                                           \
        jitter();                                                                   \
        return symbol##Next arguments;                                              \
    }

extern "C" {

VORN_DAWDLE(pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
VORN_DAWDLE(pthread_mutex_trylock, (pthread_mutex_t * mutex), (mutex))
VORN_DAWDLE(pthread_mutex_unlock, (pthread_mutex_t * mutex), (mutex))
VORN_DAWDLE(pthread_cond_wait, (pthread_cond_t * condition, pthread_mutex_t* mutex),
            (condition, mutex))
VORN_DAWDLE(pthread_cond_clockwait,
            (pthread_cond_t * condition, pthread_mutex_t* mutex, clockid_t clock,
             const timespec* limit),
            (condition, mutex, clock, limit))
VORN_DAWDLE(pthread_cond_signal, (pthread_cond_t * condition), (condition))
VORN_DAWDLE(pthread_cond_broadcast, (pthread_cond_t * condition), (condition))

}  // extern "C"

}  // namespace faults::interposition

std::size_t faults::lockOperations() {
    return interposition::lockOperations;
}
