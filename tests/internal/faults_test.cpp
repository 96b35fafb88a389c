// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <latch>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/faults/allocation.h"
#include "helpers/faults/calls.h"
#include "helpers/faults/threads.h"

namespace {

using faults::Call;
using faults::Calls;
using faults::NoMemory;
using faults::Threads;

/// The numbers of the allocations, from 1 to 6, that failed.
std::vector<int> failuresOfSix() {
    std::vector<int> failed;
    failed.reserve(6);
    const NoMemory shortage(3, NoMemory::Times::Once);
    for (int i = 1; i <= 6; ++i) {
        try {
            // Called by name: of a new-expression whose block nobody reads nothing may be left.
            ::operator delete(::operator new(1));
        } catch (const std::bad_alloc&) {
            failed.push_back(i);
        }
    }
    EXPECT_EQ(shortage.failures(), failed.size());
    return failed;
}

TEST(FaultsAllocation, FailsOnceOrFromThereOn) {
    EXPECT_EQ(failuresOfSix(), std::vector{3});
    int failures = 0;
    {
        const NoMemory shortage(5);
        for (int i = 0; i < 6; ++i) {
            void* const block = ::operator new(1, std::nothrow);
            failures += block == nullptr ? 1 : 0;
            ::operator delete(block);
        }
    }
    EXPECT_EQ(failures, 2);
    EXPECT_NO_THROW(::operator delete(::operator new(1)));
}

TEST(FaultsAllocation, ConcernsItsThreadOrAll) {
    for (const auto threads : {Threads::This, Threads::All}) {
        bool failed = false;
        std::latch begun(1);
        std::latch shortage_(1);
        std::thread other([&] {
            begun.count_down();
            shortage_.wait();
            void* const block = ::operator new(1, std::nothrow);
            failed = block == nullptr;
            ::operator delete(block);
        });
        begun.wait();
        {
            const NoMemory shortage(1, NoMemory::Times::FromThereOn, threads);
            shortage_.count_down();
            other.join();
        }
        EXPECT_EQ(failed, threads == Threads::All);
    }
}

TEST(FaultsCalls, CountsAndFailsTheChosenOnes) {
    const helpers::TempDir dir;
    Calls calls;
    calls.fail(Call::open, EMFILE, 2);
    const auto openErrno = [&] {
        const int fd = ::open(dir.path().c_str(), O_RDONLY | O_DIRECTORY);
        return fd >= 0 ? ::close(fd) : errno;
    };
    EXPECT_EQ(openErrno(), 0);
    EXPECT_EQ(openErrno(), EMFILE);
    EXPECT_EQ(openErrno(), 0);
    EXPECT_EQ(calls.count(Call::open), 3);
    EXPECT_EQ(calls.order({Call::open, Call::close}),
              (std::vector{Call::open, Call::close, Call::open, Call::open, Call::close}));
}

TEST(FaultsCalls, HooksSeeTheArgumentsAndShortenOrAnswer) {
    const helpers::TempDir dir;
    const int fd = ::open(dir.file("a").c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    Calls calls;
    std::string created;
    calls.hook(Call::mkdir, [&](auto& call) {
        created = call.path;
        return call.mode == 0700 ? 0 : EPERM;
    });
    calls.hook(Call::write, [](auto& call) {
        call.size = 1;
        return 0;
    });
    calls.hook(Call::kill, [](auto& call) {
        call.answer = 7;
        return 0;
    });
    EXPECT_EQ(::write(fd, "abc", 3), 1);
    EXPECT_EQ(::mkdir(dir.file("b").c_str(), 0755), -1);
    EXPECT_EQ(::mkdir(dir.file("c").c_str(), 0700), 0);
    EXPECT_EQ(created, dir.file("c"));
    EXPECT_EQ(::kill(-1, SIGKILL), 7);
    ::close(fd);
}

TEST(FaultsCalls, SeveralWorkTogetherAndEndTogetherWithTheirScope) {
    Calls outer(Threads::All);
    outer.fail(Call::fsync, EIO);
    {
        Calls inner;
        inner.fail(Call::fsync, EROFS, 1);
        EXPECT_TRUE(::fsync(-1) == -1 && errno == EROFS);
        EXPECT_TRUE(::fsync(-1) == -1 && errno == EIO);
    }
    int error = 0;
    std::thread([&] { error = ::fsync(-1) == -1 ? errno : 0; }).join();
    EXPECT_EQ(error, EIO);
    EXPECT_EQ(outer.count(Call::fsync), 2) << "the first one was decided by the inner one";
}

TEST(FaultsCalls, ReachAForkedChildAndCallsByNumber) {
    Calls calls(Threads::All);
    calls.hook(Call::syscall, [](auto& call) { return call.id == SYS_getppid ? ENOSYS : 0; });
    const auto result =
        helpers::runInChild([](const auto&) { return ::syscall(SYS_getppid) == -1 ? errno : 0; });
    EXPECT_EQ(result.exitCode, ENOSYS);
}

TEST(FaultsThreads, NoneCanBeCreated) {
    {
        const faults::NoMoreThreads shortage(1);
        EXPECT_NO_THROW(std::thread([] {}).join());
        EXPECT_THROW(std::thread([] {}), std::system_error);
    }
    EXPECT_NO_THROW(std::thread([] {}).join());
}

TEST(FaultsJitter, ThreadsDawdleAtTheirLocksOnlyWhenTheEnvironmentWantsIt) {
    const auto sleeps = [] {
        rusage used{};
        ::getrusage(RUSAGE_THREAD, &used);
        return used.ru_nvcsw;
    };
    const long before = sleeps();
    std::mutex mutex;
    for (int i = 0; i < 1'000; ++i) {
        const std::lock_guard lock(mutex);
    }
    // An eighth of the calls sleeps.
    if (std::getenv("VORN_TESTS_JITTER") != nullptr) {
        EXPECT_GT(sleeps() - before, 100);
    } else {
        EXPECT_LT(sleeps() - before, 20);
    }
}

}  // namespace
