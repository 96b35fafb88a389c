// SPDX-License-Identifier: MIT
#include "helpers/faults/allocation.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace faults {

/// Changed without locks or allocations, since operator new itself does it.
struct NoMemory::State {
    std::atomic<bool> active{false};
    std::atomic<std::size_t> calls{0};
    std::atomic<std::size_t> failures{0};
    std::size_t first = 0;
    std::size_t last = 0;

    bool fails() {
        if (!active.load(std::memory_order_acquire)) {
            return false;
        }
        const std::size_t call = ++calls;
        const bool failing = call >= first && call <= last;
        failures += failing ? 1 : 0;
        return failing;
    }
};

namespace {

constinit std::atomic<std::size_t> allocationsOfAll{0};
constinit thread_local std::size_t allocationsOfThread = 0;
constinit thread_local std::size_t bytesOfThread = 0;
constinit std::atomic<std::ptrdiff_t> alive{0};
constinit std::atomic<std::ptrdiff_t> aliveBytes{0};
constinit std::atomic<std::ptrdiff_t> mostBytes{0};
constinit std::atomic<ReleaseWatch::Look> watch{nullptr};
constinit NoMemory::State shortageOfAll;
constinit thread_local NoMemory::State shortageOfThread;

/// Null when there is no memory.
void* allocateOrNull(std::size_t size, std::size_t alignment) noexcept {
    allocationsOfAll.fetch_add(1, std::memory_order_relaxed);
    ++allocationsOfThread;
    bytesOfThread += size;
    const bool fails = shortageOfThread.fails() || shortageOfAll.fails();
    size = size == 0 ? 1 : size;
    void* const block = fails ? nullptr
                        : alignment <= alignof(std::max_align_t)
                            ? std::malloc(size)
                            : std::aligned_alloc(alignment, (size + alignment - 1) & -alignment);
    if (block == nullptr) {
        return nullptr;
    }
    alive.fetch_add(1, std::memory_order_relaxed);
    const auto usable = static_cast<std::ptrdiff_t>(::malloc_usable_size(block));
    const auto bytes = aliveBytes.fetch_add(usable, std::memory_order_relaxed) + usable;
    for (auto most = mostBytes.load();
         bytes > most && !mostBytes.compare_exchange_weak(most, bytes);) {
    }
    if (watch.load(std::memory_order_relaxed) != nullptr) {
        std::memset(block, 0, ::malloc_usable_size(block));
    }
    return block;
}

void* allocate(std::size_t size, std::size_t alignment) {
    if (void* const block = allocateOrNull(size, alignment)) {
        return block;
    }
    throw std::bad_alloc();
}

void release(void* block) noexcept {
    if (block == nullptr) {
        return;
    }
    alive.fetch_sub(1, std::memory_order_relaxed);
    aliveBytes.fetch_sub(static_cast<std::ptrdiff_t>(::malloc_usable_size(block)),
                         std::memory_order_relaxed);
    if (const auto look = watch.load(std::memory_order_relaxed)) {
        look(block, ::malloc_usable_size(block));
    }
    std::free(block);
}

}  // namespace

std::size_t allocations(Threads threads) {
    return threads == Threads::This ? allocationsOfThread : allocationsOfAll.load();
}

std::size_t allocatedBytes() {
    return bytesOfThread;
}

std::ptrdiff_t bytesAlive() {
    return aliveBytes;
}

std::ptrdiff_t mostBytesAlive() {
    return mostBytes;
}

void restartMostBytesAlive() {
    mostBytes = aliveBytes.load();
}

std::ptrdiff_t blocksAlive() {
    return alive;
}

NoMemory::NoMemory(std::size_t firstFailure, Times times, Threads threads)
    : state_(threads == Threads::This ? shortageOfThread : shortageOfAll) {
    state_.first = firstFailure;
    state_.last = times == Times::Once ? firstFailure : std::numeric_limits<std::size_t>::max();
    state_.calls = 0;
    state_.failures = 0;
    state_.active.store(true, std::memory_order_release);
}

NoMemory::~NoMemory() {
    state_.active = false;
}

std::size_t NoMemory::failures() const {
    return state_.failures;
}

ReleaseWatch::ReleaseWatch(Look look) {
    watch = look;
}

ReleaseWatch::~ReleaseWatch() {
    watch = nullptr;
}

}  // namespace faults

// All forms: a sanitizer's runtime would take those that are left out, and find that they do not
// match.

#define VORN_DEFINE_OPERATORS(brackets)                                                  \
    void* operator new brackets(std::size_t size) {                                      \
        return faults::allocate(size, 1);                                                \
    }                                                                                    \
    void* operator new brackets(std::size_t size, std::align_val_t alignment) {          \
        return faults::allocate(size, static_cast<std::size_t>(alignment));              \
    }                                                                                    \
    void* operator new brackets(std::size_t size, const std::nothrow_t&) noexcept {      \
        return faults::allocateOrNull(size, 1);                                          \
    }                                                                                    \
    void* operator new brackets(std::size_t size, std::align_val_t alignment,            \
                                const std::nothrow_t&) noexcept {                        \
        return faults::allocateOrNull(size, static_cast<std::size_t>(alignment));        \
    }                                                                                    \
    void operator delete brackets(void* block) noexcept {                                \
        faults::release(block);                                                          \
    }                                                                                    \
    void operator delete brackets(void* block, std::size_t) noexcept {                   \
        faults::release(block);                                                          \
    }                                                                                    \
    void operator delete brackets(void* block, const std::nothrow_t&) noexcept {         \
        faults::release(block);                                                          \
    }                                                                                    \
    void operator delete brackets(void* block, std::align_val_t) noexcept {              \
        faults::release(block);                                                          \
    }                                                                                    \
    void operator delete brackets(void* block, std::size_t, std::align_val_t) noexcept { \
        faults::release(block);                                                          \
    }

VORN_DEFINE_OPERATORS()
VORN_DEFINE_OPERATORS([])
