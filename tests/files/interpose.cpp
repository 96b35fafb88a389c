#include "files/interpose.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <new>

namespace interpose {

Settings& settings() {
    thread_local Settings instance;
    return instance;
}

namespace {

std::atomic<int> exchangeErrorOfAll{0};
std::atomic<std::atomic<long>*> changesOfAll{nullptr};

int failWith(int error) {
    errno = error;
    return -1;
}

Settings& beforeChange() {
    auto& current = settings();
    if (auto* const counter = changesOfAll.load()) {
        ++*counter;
    }
    if (++current.changingCalls == current.killAtCall) {
        ::kill(::getpid(), SIGKILL);
    }
    return current;
}

int openCounted(const char* path, int flags, unsigned mode) {
    auto& current = settings();
    ++current.opens;
    if (current.interruptOpens && current.opens % 2 == 1) {
        return failWith(EINTR);
    }
    return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags | O_LARGEFILE, mode));
}

}  // namespace

void failEveryExchange(int error) {
    exchangeErrorOfAll = error;
}

void countChangesIn(std::atomic<long>* counter) {
    changesOfAll = counter;
}

}  // namespace interpose

extern "C" {

// Under names of their own, because the C library's headers may declare `open` as `open64`.
__attribute__((visibility("default"))) int interposedOpen(const char* path, int flags,
                                                          ...) __asm__("open");
__attribute__((visibility("default"))) int interposedOpen64(const char* path, int flags,
                                                            ...) __asm__("open64");

int interposedOpen(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0U;
    va_end(arguments);
    return interpose::openCounted(path, flags, mode);
}

int interposedOpen64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0U;
    va_end(arguments);
    return interpose::openCounted(path, flags, mode);
}

__attribute__((visibility("default"))) int renameat2(int oldDirectory, const char* oldPath,
                                                     int newDirectory, const char* newPath,
                                                     unsigned flags) noexcept {
    auto& current = interpose::beforeChange();
    ++current.exchanges;
    current.contentSyncsBeforeExchange = current.contentSyncs;
    current.directorySyncsBeforeExchange = current.directorySyncs;
    const int everywhere = interpose::exchangeErrorOfAll;
    if (current.exchangeError != 0 || everywhere != 0) {
        return interpose::failWith(everywhere != 0 ? everywhere : current.exchangeError);
    }
    return static_cast<int>(
        ::syscall(SYS_renameat2, oldDirectory, oldPath, newDirectory, newPath, flags));
}

__attribute__((visibility("default"))) int rename(const char* oldPath,
                                                  const char* newPath) noexcept {
    auto& current = interpose::beforeChange();
    if (current.renameError != 0) {
        return interpose::failWith(current.renameError);
    }
    return static_cast<int>(::syscall(SYS_renameat2, AT_FDCWD, oldPath, AT_FDCWD, newPath, 0U));
}

__attribute__((visibility("default"))) int unlink(const char* path) noexcept {
    interpose::beforeChange();
    return static_cast<int>(::syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

__attribute__((visibility("default"))) int fdatasync(int fd) {
    auto& current = interpose::beforeChange();
    ++current.contentSyncs;
    if (current.syncError != 0) {
        return interpose::failWith(current.syncError);
    }
    return static_cast<int>(::syscall(SYS_fdatasync, fd));
}

__attribute__((visibility("default"))) int fsync(int fd) {
    ++interpose::settings().directorySyncs;
    return static_cast<int>(::syscall(SYS_fsync, fd));
}

__attribute__((visibility("default"))) ssize_t write(int fd, const void* data, size_t size) {
    auto& current = interpose::beforeChange();
    ++current.writes;
    if (current.failedWrites > 0) {
        --current.failedWrites;
        return interpose::failWith(ENOSPC);
    }
    if (current.interruptWrites && current.writes % 2 == 1) {
        return interpose::failWith(EINTR);
    }
    if (current.longestWrite != 0) {
        size = std::min(size, current.longestWrite);
    }
    return static_cast<ssize_t>(::syscall(SYS_write, fd, data, size));
}

}  // extern "C"

void* operator new(std::size_t size) {
    void* memory = interpose::settings().outOfMemory ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
