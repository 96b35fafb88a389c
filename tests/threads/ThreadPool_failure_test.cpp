// SPDX-License-Identifier: MIT
#include <signal.h>

#include <stdexcept>
#include <system_error>

#include <gtest/gtest.h>

#include <vorn/common/ThreadPool.h>

#include "helpers/faults/threads.h"
#include "helpers/wait_until.h"

namespace {

using vorn::common::ThreadPool;

TEST(ThreadPoolDeathTest, RefusesASizeOfZero) {
    EXPECT_DEATH({ const ThreadPool pool(0); }, "src/ThreadPool.*ThreadPool\\(.*poolSize > 0");
}

TEST(ThreadPool, ThrowsWhenItsFirstThreadCannotBeCreated) {
    const faults::NoMoreThreads shortage;
    EXPECT_THROW(ThreadPool(3), std::system_error);
}

void createWithoutLaterThreads() {
    const faults::NoMoreThreads shortage(2);
    const ThreadPool pool(3);
}

TEST(ThreadPoolDeathTest, DeliberatelyEndsTheProcessWhenALaterThreadCannotBeCreated) {
    EXPECT_EXIT(createWithoutLaterThreads(), testing::KilledBySignal(SIGABRT), "");
}

void runTaskThatThrows() {
    ThreadPool pool(1);
    pool._emplaceTask([] { throw std::runtime_error("from the task"); });
    static_cast<void>(helpers::waitUntil([] { return false; }));
}

TEST(ThreadPoolDeathTest, DeliberatelyEndsTheProcessWhenATaskThrows) {
    EXPECT_EXIT(runTaskThatThrows(), testing::KilledBySignal(SIGABRT), "from the task");
}

}  // namespace
