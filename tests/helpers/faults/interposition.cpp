// SPDX-License-Identifier: MIT
#include "helpers/faults/interposition.h"

#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/times.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <time.h>

#include <cerrno>
#include <cstdarg>
#include <type_traits>

#include "helpers/faults/Next.h"

namespace faults::interposition {
namespace {

template <class Result>
Result answer(long value) {
    if constexpr (std::is_pointer_v<Result>) {
        return reinterpret_cast<Result>(value);
    } else {
        return static_cast<Result>(value);
    }
}

template <class Result>
Result failure(int error) {
    errno = error;
    return answer<Result>(std::is_pointer_v<Result> ? 0 : -1);
}

}  // namespace

// Under names of their own: the C library's headers declare some calls under another name, with
// other types, or as a macro.
#define VORN_INTERPOSE(symbol, Result, parameters)                                        \
    [[gnu::visibility("default")]] Result symbol##Interposed parameters __asm__(#symbol); \
    constinit Next<Result parameters> symbol##Next{#symbol};                              \
    [[gnu::constructor]] void symbol##Resolve() {                                         \
        symbol##Next.resolve();                                                           \
    }                                                                                     \
    Result symbol##Interposed parameters

#define VORN_ASK(Result, ...)                           \
    Invocation asked{__VA_ARGS__};                      \
    if (const int error = errorOf(asked); error != 0) { \
        return failure<Result>(error);                  \
    }                                                   \
    if (asked.answer) {                                 \
        return answer<Result>(*asked.answer);           \
    }

using Offset = __off_t;
using Offset64 = __off64_t;

extern "C" {

#define VORN_INTERPOSE_OPEN(symbol)                                                   \
    VORN_INTERPOSE(symbol, int, (const char* path, int flags, unsigned mode)) {       \
        VORN_ASK(int, .call = Call::open, .path = path, .flags = flags, .mode = mode) \
        return symbol##Next(path, flags, mode);                                       \
    }
VORN_INTERPOSE_OPEN(open)
VORN_INTERPOSE_OPEN(open64)

#define VORN_INTERPOSE_OPENAT(symbol)                                                             \
    VORN_INTERPOSE(symbol, int, (int fd, const char* path, int flags, unsigned mode)) {           \
        VORN_ASK(int, .call = Call::openat, .path = path, .id = fd, .flags = flags, .mode = mode) \
        return symbol##Next(fd, path, flags, mode);                                               \
    }
VORN_INTERPOSE_OPENAT(openat)
VORN_INTERPOSE_OPENAT(openat64)

#define VORN_INTERPOSE_MKOSTEMP(symbol)                                     \
    VORN_INTERPOSE(symbol, int, (char* path, int flags)) {                  \
        VORN_ASK(int, .call = Call::mkostemp, .path = path, .flags = flags) \
        return symbol##Next(path, flags);                                   \
    }
VORN_INTERPOSE_MKOSTEMP(mkostemp)
VORN_INTERPOSE_MKOSTEMP(mkostemp64)

VORN_INTERPOSE(mkdtemp, char*, (char* path)) {
    VORN_ASK(char*, .call = Call::mkdtemp, .path = path)
    return mkdtempNext(path);
}

VORN_INTERPOSE(mkdir, int, (const char* path, mode_t mode)) {
    VORN_ASK(int, .call = Call::mkdir, .path = path, .mode = mode)
    return mkdirNext(path, mode);
}

VORN_INTERPOSE(read, ssize_t, (int fd, void* data, std::size_t size)) {
    VORN_ASK(ssize_t, .call = Call::read, .id = fd, .size = size)
    return readNext(fd, data, asked.size);
}

VORN_INTERPOSE(write, ssize_t, (int fd, const void* data, std::size_t size)) {
    VORN_ASK(ssize_t, .call = Call::write, .id = fd, .size = size, .data = const_cast<void*>(data))
    return writeNext(fd, data, asked.size);
}

VORN_INTERPOSE(writev, ssize_t, (int fd, const iovec* parts, int count)) {
    VORN_ASK(ssize_t, .call = Call::writev, .id = fd)
    return writevNext(fd, parts, count);
}

VORN_INTERPOSE(fsync, int, (int fd)) {
    VORN_ASK(int, .call = Call::fsync, .id = fd)
    return fsyncNext(fd);
}

VORN_INTERPOSE(fdatasync, int, (int fd)) {
    VORN_ASK(int, .call = Call::fdatasync, .id = fd)
    return fdatasyncNext(fd);
}

#define VORN_INTERPOSE_FTRUNCATE(symbol, Offset)                                                 \
    VORN_INTERPOSE(symbol, int, (int fd, Offset size)) {                                         \
        VORN_ASK(int, .call = Call::ftruncate, .id = fd, .size = static_cast<std::size_t>(size)) \
        return symbol##Next(fd, size);                                                           \
    }
VORN_INTERPOSE_FTRUNCATE(ftruncate, Offset)
VORN_INTERPOSE_FTRUNCATE(ftruncate64, Offset64)

#define VORN_INTERPOSE_LSEEK(symbol, Offset)                                                      \
    VORN_INTERPOSE(symbol, Offset, (int fd, Offset offset, int from)) {                           \
        VORN_ASK(Offset, .call = Call::lseek, .id = fd, .size = static_cast<std::size_t>(offset), \
                 .flags = from)                                                                   \
        return symbol##Next(fd, offset, from);                                                    \
    }
VORN_INTERPOSE_LSEEK(lseek, Offset)
VORN_INTERPOSE_LSEEK(lseek64, Offset64)

#define VORN_INTERPOSE_FSTAT(symbol)                      \
    VORN_INTERPOSE(symbol, int, (int fd, void* status)) { \
        VORN_ASK(int, .call = Call::fstat, .id = fd)      \
        return symbol##Next(fd, status);                  \
    }
VORN_INTERPOSE_FSTAT(fstat)
VORN_INTERPOSE_FSTAT(fstat64)
#ifdef __arm__
// The name where a file is compiled with a time_t of 64 bits.
VORN_INTERPOSE_FSTAT(__fstat64_time64)
#endif

VORN_INTERPOSE(fchmod, int, (int fd, mode_t mode)) {
    VORN_ASK(int, .call = Call::fchmod, .id = fd, .mode = mode)
    return fchmodNext(fd, mode);
}

VORN_INTERPOSE(fchown, int, (int fd, uid_t user, gid_t group)) {
    VORN_ASK(int, .call = Call::fchown, .id = fd)
    return fchownNext(fd, user, group);
}

VORN_INTERPOSE(rename, int, (const char* from, const char* to)) {
    VORN_ASK(int, .call = Call::rename, .path = from, .target = to)
    return renameNext(from, to);
}

VORN_INTERPOSE(renameat2, int,
               (int fromFd, const char* from, int toFd, const char* to, unsigned flags)) {
    VORN_ASK(int, .call = Call::renameat2, .path = from, .target = to,
             .flags = static_cast<long>(flags))
    return renameat2Next(fromFd, from, toFd, to, flags);
}

VORN_INTERPOSE(unlink, int, (const char* path)) {
    VORN_ASK(int, .call = Call::unlink, .path = path)
    return unlinkNext(path);
}

VORN_INTERPOSE(rmdir, int, (const char* path)) {
    VORN_ASK(int, .call = Call::rmdir, .path = path)
    return rmdirNext(path);
}

VORN_INTERPOSE(close, int, (int fd)) {
    VORN_ASK(int, .call = Call::close, .id = fd)
    return closeNext(fd);
}

// The third argument is an int or a pointer: both travel in one register.
#define VORN_INTERPOSE_FCNTL(symbol)                                     \
    VORN_INTERPOSE(symbol, int, (int fd, int command, void* argument)) { \
        VORN_ASK(int, .call = Call::fcntl, .id = fd, .flags = command)   \
        return symbol##Next(fd, command, argument);                      \
    }
VORN_INTERPOSE_FCNTL(fcntl)
VORN_INTERPOSE_FCNTL(fcntl64)

VORN_INTERPOSE(flock, int, (int fd, int operation)) {
    VORN_ASK(int, .call = Call::flock, .id = fd, .flags = operation)
    return flockNext(fd, operation);
}

VORN_INTERPOSE(dup2, int, (int from, int to)) {
    VORN_ASK(int, .call = Call::dup2, .id = to)
    return dup2Next(from, to);
}

VORN_INTERPOSE(pipe2, int, (int* ends, int flags)) {
    VORN_ASK(int, .call = Call::pipe2, .flags = flags)
    return pipe2Next(ends, flags);
}

VORN_INTERPOSE(poll, int, (pollfd * entries, nfds_t count, int timeout)) {
    VORN_ASK(int, .call = Call::poll, .size = count, .flags = timeout)
    return pollNext(entries, count, timeout);
}

VORN_INTERPOSE(fork, pid_t, ()) {
    VORN_ASK(pid_t, .call = Call::fork)
    return forkNext();
}

VORN_INTERPOSE(clone, int,
               (int (*function)(void*), void* stack, int flags, void* argument, void* first,
                void* second, void* third)) {
    VORN_ASK(int, .call = Call::clone, .flags = flags)
    return cloneNext(function, stack, flags, argument, first, second, third);
}

VORN_INTERPOSE(execve, int, (const char* path, char* const* words, char* const* environment)) {
    VORN_ASK(int, .call = Call::execve, .path = path)
    return execveNext(path, words, environment);
}

VORN_INTERPOSE(waitid, int, (idtype_t type, id_t id, siginfo_t* info, int options)) {
    VORN_ASK(int, .call = Call::waitid, .id = static_cast<long>(id), .flags = options)
    return waitidNext(type, id, info, options);
}

VORN_INTERPOSE(waitpid, pid_t, (pid_t pid, int* status, int options)) {
    VORN_ASK(pid_t, .call = Call::waitpid, .id = pid, .flags = options)
    return waitpidNext(pid, status, options);
}

VORN_INTERPOSE(kill, int, (pid_t pid, int signal)) {
    VORN_ASK(int, .call = Call::kill, .id = pid, .flags = signal)
    return killNext(pid, signal);
}

VORN_INTERPOSE(dlopen, void*, (const char* path, int flags)) {
    VORN_ASK(void*, .call = Call::dlopen, .path = path, .flags = flags)
    return dlopenNext(path, flags);
}

VORN_INTERPOSE(pthread_create, int,
               (pthread_t * thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                void* argument)) {
    Invocation asked{.call = Call::pthread_create};
    const int error = errorOf(asked);
    return error != 0 ? error : pthread_createNext(thread, attributes, routine, argument);
}

VORN_INTERPOSE(pthread_self, pthread_t, ()) {
    VORN_ASK(pthread_t, .call = Call::pthread_self)
    return pthread_selfNext();
}

#define VORN_INTERPOSE_RWLOCK(symbol)                        \
    VORN_INTERPOSE(symbol, int, (pthread_rwlock_t * lock)) { \
        Invocation asked{.call = Call::symbol};              \
        const int error = errorOf(asked);                    \
        return error != 0 ? error : symbol##Next(lock);      \
    }
VORN_INTERPOSE_RWLOCK(pthread_rwlock_rdlock)
VORN_INTERPOSE_RWLOCK(pthread_rwlock_tryrdlock)
VORN_INTERPOSE_RWLOCK(pthread_rwlock_wrlock)
VORN_INTERPOSE_RWLOCK(pthread_rwlock_trywrlock)

VORN_INTERPOSE(sched_yield, int, ()) {
    VORN_ASK(int, .call = Call::sched_yield)
    return sched_yieldNext();
}

VORN_INTERPOSE(syscall, long,
               (long number, long first, long second, long third, long fourth, long fifth,
                long sixth)) {
    VORN_ASK(long, .call = Call::syscall, .id = number)
    return syscallNext(number, first, second, third, fourth, fifth, sixth);
}

VORN_INTERPOSE(times, clock_t, (tms * used)) {
    VORN_ASK(clock_t, .call = Call::times, .data = used)
    return timesNext(used);
}

VORN_INTERPOSE(nanosleep, int, (const timespec* request, timespec* left)) {
    VORN_ASK(int, .call = Call::nanosleep, .data = const_cast<timespec*>(request))
    return nanosleepNext(request, left);
}

}  // extern "C"

void yield() {
    sched_yieldNext();
}

void pause(std::chrono::nanoseconds duration) {
    const timespec time{0, static_cast<long>(duration.count())};
    nanosleepNext(&time, nullptr);
}

}  // namespace faults::interposition
