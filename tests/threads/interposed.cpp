#include "interposed.h"

#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

std::atomic<long> allocationCount = 0;
std::atomic<int> creationsLeft = std::numeric_limits<int>::max();

}  // namespace

namespace interposed {

long allocations() {
    return allocationCount;
}

void failThreadCreationAfter(int successes) {
    creationsLeft = successes;
}

void allowThreadCreation() {
    creationsLeft = std::numeric_limits<int>::max();
}

}  // namespace interposed

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*routine)(void*), void* argument) {
    if (creationsLeft.fetch_sub(1) <= 0) {
        return EAGAIN;
    }
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, routine, argument);
}

void* operator new(std::size_t size) {
    allocationCount.fetch_add(1, std::memory_order_relaxed);
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
