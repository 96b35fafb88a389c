// SPDX-License-Identifier: MIT

// What a compiler calls for atomic operations and accesses to memory in code that is compiled for a
// thread sanitizer. There is none here: the operations are decisions of the explorer, and accesses
// are only looked at for memory that was destroyed.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "schedules/scheduler.h"

namespace {

using schedules::Scheduler;

void decide(const char* action, const volatile void* word, const void* place) {
    if (Scheduler::self() != nullptr) {
        Scheduler::instance().decideUnlessSpinning(action, const_cast<const void*>(word), place);
    }
}

void touch(const void* address, std::size_t size) {
    if (Scheduler::self() != nullptr) {
        Scheduler::instance().touch(address, size);
    }
}

}  // namespace

// Under names of their own: compilers know these functions with types that differ from each other.
#define VORN_DEFINE(Result, symbol, parameters)         \
    Result symbol##Defined parameters __asm__(#symbol); \
    Result symbol##Defined parameters

#define VORN_UPDATE(bits, name, operation)                                               \
    VORN_DEFINE(std::uint##bits##_t, __tsan_atomic##bits##_##name,                       \
                (volatile std::uint##bits##_t * word, std::uint##bits##_t value, int)) { \
        decide(#name, word, __builtin_return_address(0));                                \
        return operation(word, value, __ATOMIC_SEQ_CST);                                 \
    }

#define VORN_EXCHANGE_IF(bits, name)                                                       \
    VORN_DEFINE(int, __tsan_atomic##bits##_compare_exchange_##name,                        \
                (volatile std::uint##bits##_t * word, std::uint##bits##_t * expected,      \
                 std::uint##bits##_t value, int, int)) {                                   \
        decide("compare and exchange", word, __builtin_return_address(0));                 \
        return __atomic_compare_exchange_n(word, expected, value, false, __ATOMIC_SEQ_CST, \
                                           __ATOMIC_SEQ_CST);                              \
    }

// The other form of it: returns what was there.
#define VORN_EXCHANGE_VALUE(bits)                                                    \
    VORN_DEFINE(std::uint##bits##_t, __tsan_atomic##bits##_compare_exchange_val,     \
                (volatile std::uint##bits##_t * word, std::uint##bits##_t expected,  \
                 std::uint##bits##_t value, int, int)) {                             \
        decide("compare and exchange", word, __builtin_return_address(0));           \
        __atomic_compare_exchange_n(word, &expected, value, false, __ATOMIC_SEQ_CST, \
                                    __ATOMIC_SEQ_CST);                               \
        return expected;                                                             \
    }

#define VORN_ATOMICS(bits)                                                               \
    VORN_DEFINE(std::uint##bits##_t, __tsan_atomic##bits##_load,                         \
                (const volatile std::uint##bits##_t* word, int)) {                       \
        decide("load", word, __builtin_return_address(0));                               \
        return __atomic_load_n(word, __ATOMIC_SEQ_CST);                                  \
    }                                                                                    \
    VORN_DEFINE(void, __tsan_atomic##bits##_store,                                       \
                (volatile std::uint##bits##_t * word, std::uint##bits##_t value, int)) { \
        decide("store", word, __builtin_return_address(0));                              \
        __atomic_store_n(word, value, __ATOMIC_SEQ_CST);                                 \
    }                                                                                    \
    VORN_UPDATE(bits, exchange, __atomic_exchange_n)                                     \
    VORN_UPDATE(bits, fetch_add, __atomic_fetch_add)                                     \
    VORN_UPDATE(bits, fetch_sub, __atomic_fetch_sub)                                     \
    VORN_UPDATE(bits, fetch_and, __atomic_fetch_and)                                     \
    VORN_UPDATE(bits, fetch_or, __atomic_fetch_or)                                       \
    VORN_UPDATE(bits, fetch_xor, __atomic_fetch_xor)                                     \
    VORN_EXCHANGE_IF(bits, strong)                                                       \
    VORN_EXCHANGE_IF(bits, weak)                                                         \
    VORN_EXCHANGE_VALUE(bits)

#define VORN_UNALIGNED(bytes)                                                 \
    VORN_DEFINE(void, __tsan_unaligned_read##bytes, (const void* address)) {  \
        touch(address, bytes);                                                \
    }                                                                         \
    VORN_DEFINE(void, __tsan_unaligned_write##bytes, (const void* address)) { \
        touch(address, bytes);                                                \
    }

#define VORN_ACCESSES(bytes)                                        \
    VORN_DEFINE(void, __tsan_read##bytes, (const void* address)) {  \
        touch(address, bytes);                                      \
    }                                                               \
    VORN_DEFINE(void, __tsan_write##bytes, (const void* address)) { \
        touch(address, bytes);                                      \
    }

extern "C" {

VORN_ATOMICS(8)
VORN_ATOMICS(16)
VORN_ATOMICS(32)
VORN_ATOMICS(64)

VORN_ACCESSES(1)
VORN_ACCESSES(2)
VORN_ACCESSES(4)
VORN_ACCESSES(8)
VORN_ACCESSES(16)

VORN_UNALIGNED(2)
VORN_UNALIGNED(4)
VORN_UNALIGNED(8)
VORN_UNALIGNED(16)

VORN_DEFINE(void*, __tsan_memset, (void* to, int value, std::size_t size)) {
    touch(to, size);
    return std::memset(to, value, size);
}
VORN_DEFINE(void*, __tsan_memcpy, (void* to, const void* from, std::size_t size)) {
    touch(from, size);
    touch(to, size);
    return std::memcpy(to, from, size);
}
VORN_DEFINE(void*, __tsan_memmove, (void* to, const void* from, std::size_t size)) {
    touch(from, size);
    touch(to, size);
    return std::memmove(to, from, size);
}

VORN_DEFINE(void, __tsan_init, ()) {}
VORN_DEFINE(void, __tsan_func_entry, (void*)) {}
VORN_DEFINE(void, __tsan_func_exit, ()) {}
VORN_DEFINE(void, __tsan_vptr_update, (const void* address, void*)) {
    touch(address, sizeof(void*));
}
VORN_DEFINE(void, __tsan_vptr_read, (const void* address)) {
    touch(address, sizeof(void*));
}
VORN_DEFINE(void, __tsan_read_range, (const void* address, std::size_t size)) {
    touch(address, size);
}
VORN_DEFINE(void, __tsan_write_range, (const void* address, std::size_t size)) {
    touch(address, size);
}
VORN_DEFINE(void, __tsan_atomic_thread_fence, (int)) {}
VORN_DEFINE(void, __tsan_atomic_signal_fence, (int)) {}

}  // extern "C"
