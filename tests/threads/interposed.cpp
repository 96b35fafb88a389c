#include "interposed.h"

#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <sys/times.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace {

std::atomic<long> allocationCount = 0;
std::atomic<long> yieldCount = 0;
std::atomic<int> creationsLeft = std::numeric_limits<int>::max();

thread_local long allocationsLeft = std::numeric_limits<long>::max();
thread_local int lockError = 0;
thread_local int lockFailures = 0;

thread_local unsigned long threadNumber = 0;

thread_local bool cpuClockStands = false;
thread_local std::chrono::milliseconds cpuTime;
thread_local std::vector<std::chrono::nanoseconds> sleeps;

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

using LockFunction = int(pthread_rwlock_t*);

int lockUnlessFailing(LockFunction* function, pthread_rwlock_t* lock) {
    if (lockFailures > 0) {
        --lockFailures;
        return lockError;
    }
    return function(lock);
}

}  // namespace

namespace interposed {

long allocations() {
    return allocationCount;
}

NoMemory::NoMemory(long firstFailure) {
    allocationsLeft = firstFailure - 1;
}

NoMemory::~NoMemory() {
    allocationsLeft = std::numeric_limits<long>::max();
}

bool NoMemory::struck() const {
    return allocationsLeft < 0;
}

long yields() {
    return yieldCount;
}

void failThreadCreationAfter(int successes) {
    creationsLeft = successes;
}

void allowThreadCreation() {
    creationsLeft = std::numeric_limits<int>::max();
}

void failReadWriteLocks(int error, int times) {
    lockError = error;
    lockFailures = times;
}

int readWriteLockFailuresLeft() {
    return lockFailures;
}

ThreadNumber::ThreadNumber(unsigned long number) {
    threadNumber = number;
}

ThreadNumber::~ThreadNumber() {
    threadNumber = 0;
}

CpuClock::CpuClock() {
    cpuClockStands = true;
    cpuTime = std::chrono::seconds(1);
    sleeps.clear();
}

CpuClock::~CpuClock() {
    cpuClockStands = false;
}

void CpuClock::advance(std::chrono::milliseconds duration) {
    cpuTime += duration;
}

std::vector<std::chrono::nanoseconds> CpuClock::takeSleeps() {
    return std::exchange(sleeps, {});
}

}  // namespace interposed

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*routine)(void*), void* argument) {
    if (creationsLeft.fetch_sub(1) <= 0) {
        return EAGAIN;
    }
    using Create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = next<Create>("pthread_create");
    return create(thread, attributes, routine, argument);
}

extern "C" int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    static const auto function = next<LockFunction>("pthread_rwlock_rdlock");
    return lockUnlessFailing(function, lock);
}

extern "C" int pthread_rwlock_tryrdlock(pthread_rwlock_t* lock) noexcept {
    static const auto function = next<LockFunction>("pthread_rwlock_tryrdlock");
    return lockUnlessFailing(function, lock);
}

extern "C" int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    static const auto function = next<LockFunction>("pthread_rwlock_wrlock");
    return lockUnlessFailing(function, lock);
}

extern "C" int pthread_rwlock_trywrlock(pthread_rwlock_t* lock) noexcept {
    static const auto function = next<LockFunction>("pthread_rwlock_trywrlock");
    return lockUnlessFailing(function, lock);
}

// The thread sanitizer's runtime asks for the number too, from where nothing can be replaced.
#ifndef __SANITIZE_THREAD__
extern "C" pthread_t pthread_self() noexcept {
    static const auto self = next<pthread_t()>("pthread_self");
    return threadNumber != 0 ? static_cast<pthread_t>(threadNumber) : self();
}
#endif

extern "C" int sched_yield() noexcept {
    static const auto yield = next<int()>("sched_yield");
    yieldCount.fetch_add(1, std::memory_order_relaxed);
    return yield();
}

extern "C" clock_t times(tms* used) noexcept {
    static const auto read = next<clock_t(tms*)>("times");
    if (!cpuClockStands) {
        return read(used);
    }
    *used = {};
    used->tms_utime = static_cast<clock_t>(cpuTime.count() * ::sysconf(_SC_CLK_TCK) / 1000);
    return 1;
}

extern "C" int nanosleep(const timespec* request, timespec* left) {
    static const auto sleep = next<int(const timespec*, timespec*)>("nanosleep");
    if (!cpuClockStands) {
        return sleep(request, left);
    }
    sleeps.push_back(std::chrono::seconds(request->tv_sec) +
                     std::chrono::nanoseconds(request->tv_nsec));
    return 0;
}

void* operator new(std::size_t size) {
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    if (--allocationsLeft < 0) {
        throw std::bad_alloc();
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
