// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/fs/LockedFile.h>

#include "helpers/TempDir.h"
#include "helpers/environment.h"
#include "helpers/faults/calls.h"

namespace vorn::common::fs {
namespace {

using helpers::contentOf;
using helpers::TempDir;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::filesystem::perms;

static_assert(!std::is_copy_constructible_v<LockedFile>);
static_assert(LockedFile::kDefaultOptions.mode == (std::ios_base::out | std::ios_base::app));
static_assert(LockedFile::kDefaultOptions.perms == perms{0660});

bool exists(const std::string& path) {
    return std::filesystem::exists(path);
}

/// Whether the call throws std::ios_base::failure with a text that begins so.
template <class Call>
testing::AssertionResult fails(Call call, const std::string& text) {
    try {
        call();
    } catch (const std::ios_base::failure& error) {
        const std::string what = error.what();
        return what.substr(0, what.find(": iostream error")) == text
                   ? testing::AssertionSuccess()
                   : testing::AssertionFailure() << what;
    }
    return testing::AssertionFailure() << "threw nothing";
}

TEST(LockedFile, HoldsTheLockWhileItLives) {
    const TempDir dir;
    const auto path = dir.file("data with space\n");
    {
        auto file = LockedFile::create(path);
        EXPECT_TRUE(exists(path + ".lck"));
        file.stream() << "one";
        EXPECT_TRUE(fails([&] { LockedFile::tryCreateUntil(path, Clock::now()); },
                          "File " + path + " is locked"));
        EXPECT_TRUE(fails([&] { LockedFile::waitUntil(path, Clock::now()); },
                          "File " + path + " is locked"));
    }
    EXPECT_FALSE(exists(path + ".lck"));
    EXPECT_EQ(contentOf(path), "one");
    LockedFile::create(path).stream() << ",two";
    EXPECT_EQ(contentOf(path), "one,two") << "the default mode appends";
}

TEST(LockedFile, ClosesTheStreamBeforeItReleasesTheLock) {
    const TempDir dir;
    const auto path = dir.file("data");
    const int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    {
        auto file = LockedFile::create(path);
        file.stream() << "not flushed";
        ASSERT_NE(::inotify_add_watch(watch, dir.path().c_str(), IN_CLOSE_WRITE | IN_DELETE), -1);
    }
    char events[4096];
    const auto size = ::read(watch, events, sizeof events);
    ::close(watch);
    std::string log;
    for (ssize_t at = 0; at < size;) {
        inotify_event event{};
        std::memcpy(&event, events + at, sizeof event);
        at += static_cast<ssize_t>(sizeof event);
        log += ((event.mask & IN_DELETE) != 0 ? "removed " : "closed ") + std::string(events + at) +
               "; ";
        at += static_cast<ssize_t>(event.len);
    }
    EXPECT_EQ(log, "closed data; closed data.lck; removed data.lck; ");
}

TEST(LockedFile, ANewFileGetsExactlyThePermissions) {
    const TempDir dir;
    for (const mode_t mask : {0000U, 0022U, 0077U}) {
        const auto before = ::umask(mask);
        const auto standard = dir.file("standard" + std::to_string(mask));
        const auto own = dir.file("own" + std::to_string(mask));
        LockedFile::create(standard);
        LockedFile::create(own, {std::ios_base::out, perms{0604}});
        ::umask(before);
        EXPECT_EQ(std::filesystem::status(standard).permissions(), perms{0660});
        EXPECT_EQ(std::filesystem::status(own).permissions(), perms{0604});
    }
}

TEST(LockedFile, AnExistingFileKeepsItsPermissionsAndContent) {
    const TempDir dir;
    const auto path = dir.write("data", "content");
    std::filesystem::permissions(path, perms{0640});
    LockedFile::create(path);
    EXPECT_EQ(std::filesystem::status(path).permissions(), perms{0640});
    EXPECT_EQ(contentOf(path), "content");
}

TEST(LockedFile, OpensWithTheMode) {
    const TempDir dir;
    const auto path = dir.write("data", "content");
    LockedFile::create(path, {std::ios_base::in | std::ios_base::out, perms{0660}}).stream()
        << "CO";
    EXPECT_EQ(contentOf(path), "COntent");
    std::string word;
    LockedFile::wait(path).stream() >> word;
    EXPECT_EQ(word, "COntent");
    LockedFile::wait(path, std::ios_base::in | std::ios_base::out | std::ios_base::ate).stream()
        << "!";
    EXPECT_EQ(contentOf(path), "COntent!");
    LockedFile::wait(path, std::ios_base::out | std::ios_base::trunc);
    EXPECT_EQ(contentOf(path), "");
}

TEST(LockedFile, DescriptorsAreCloseOnExec) {
    const TempDir dir;
    // The two lowest that are free.
    const int lock = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int data = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(lock);
    ::close(data);
    const auto file = LockedFile::create(dir.file("data"));
    EXPECT_EQ(::fcntl(lock, F_GETFD), FD_CLOEXEC) << "lock file";
    EXPECT_EQ(::fcntl(data, F_GETFD), FD_CLOEXEC) << "data file";
}

TEST(LockedFile, RemoveKeepsTheLock) {
    const TempDir dir;
    const auto path = dir.file("data");
    {
        auto file = LockedFile::create(path);
        EXPECT_TRUE(file.remove());
        EXPECT_FALSE(file.stream().is_open());
        EXPECT_FALSE(exists(path));
        EXPECT_TRUE(exists(path + ".lck"));
        EXPECT_FALSE(file.remove());
    }
    EXPECT_FALSE(exists(path + ".lck"));
}

TEST(LockedFile, RemoveThrowsWhenRefused) {
    const TempDir dir;
    const auto path = dir.file("data");
    auto file = LockedFile::create(path);
    std::filesystem::remove(path);
    std::filesystem::create_directories(path + "/below");
    EXPECT_THROW(file.remove(), std::filesystem::filesystem_error);
}

TEST(LockedFile, WhatCannotBeOpenedReleasesTheLock) {
    const TempDir dir;
    const auto folder = dir.file("folder");
    std::filesystem::create_directory(folder);
    EXPECT_TRUE(fails([&] { LockedFile::create(folder); }, "Unable to open file " + folder));
    EXPECT_FALSE(exists(folder + ".lck"));
    const auto path = dir.write("data", "x");
    EXPECT_TRUE(fails([&] { LockedFile::wait(path, std::ios_base::trunc); },
                      "Unable to open file " + path));
    EXPECT_FALSE(exists(path + ".lck"));
    EXPECT_EQ(contentOf(path), "x");
}

TEST(LockedFile, WithoutAPlaceForTheLockFileItIsLocked) {
    const TempDir dir;
    const auto path = dir.file("no/parent");
    EXPECT_TRUE(fails([&] { LockedFile::tryCreateUntil(path, Clock::now() + 10ms); },
                      "File " + path + " is locked"));
}

TEST(LockedFile, WaitUntilNobodyCreatesIt) {
    const TempDir dir;
    const auto path = dir.file("data");
    for (const auto limit : {-1h, 0h}) {
        EXPECT_TRUE(fails([&] { LockedFile::waitUntil(path, Clock::now() + limit); },
                          "No such file or directory " + path));
    }
    const auto deadline = Clock::now() + 150ms;
    EXPECT_TRUE(
        fails([&] { LockedFile::waitUntil(path, deadline); }, "No such file or directory " + path));
    EXPECT_GE(Clock::now(), deadline);
    EXPECT_FALSE(exists(path));
    EXPECT_FALSE(exists(path + ".lck"));
}

TEST(LockedFile, WaitUntilTheLockIsTakenMeanwhile) {
    const TempDir dir;
    const auto path = dir.file("data");
    FileMutex mutex(path + ".lck");
    bool held = false;
    // Without a pause, for want of time on a busy machine, nobody gets the lock: once more.
    for (auto limit = 200ms; !held && limit < 60s; limit *= 2) {
        faults::Calls calls;
        // Somebody takes it in the first pause of the waiter, which has released it by then.
        calls.hook(faults::Call::nanosleep, [&](auto&) {
            held = held || mutex.try_lock();
            return 0;
        });
        const auto result = fails([&] { LockedFile::waitUntil(path, Clock::now() + limit); },
                                  "File " + path + " is locked");
        EXPECT_EQ(static_cast<bool>(result), held) << result.message();
    }
    EXPECT_TRUE(held);
    mutex.unlock();
}

TEST(LockedFile, WaitLetsTheProducerIn) {
    const TempDir dir;
    const auto path = dir.file("data");
    const int watch = ::inotify_init1(IN_CLOEXEC);
    ASSERT_NE(::inotify_add_watch(watch, dir.path().c_str(), IN_DELETE), -1);
    std::thread producer([&] {
        // Not before the waiter has looked, and given the lock back for the first time.
        char event[4096];
        EXPECT_GT(::read(watch, event, sizeof event), 0);
        LockedFile::create(path).stream() << "produced";
    });
    std::string word;
    LockedFile::wait(path).stream() >> word;
    producer.join();
    ::close(watch);
    EXPECT_EQ(word, "produced");
}

TEST(LockedFile, ConstructorsAndFactoriesAgree) {
    const TempDir dir;
    const auto path = dir.file("data");
    { LockedFile file(path, true); }
    { LockedFile file(path, false, Clock::now() + 1h); }
    { LockedFile file(path, false, {std::ios_base::in, perms{0660}}); }
    LockedFile::tryCreateUntil(path, Clock::now() + 1h).stream() << "x";
    EXPECT_EQ(contentOf(path), "x");
}

}  // namespace
}  // namespace vorn::common::fs
