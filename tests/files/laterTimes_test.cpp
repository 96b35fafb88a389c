// SPDX-License-Identifier: MIT

// Files with times behind January 2038. Where time_t has 32 bits, the C library and the C++ library
// cannot tell their status. On a kernel of the tests' own its clock is in that time, too.

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <future>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vorn/common/fs/FileMutex.h>
#include <vorn/common/fs/LockedFile.h>
#include <vorn/common/fs/TemporaryDirectory.h>
#include <vorn/common/fs/TemporaryFile.h>
#include <vorn/common/fs/tools.h>

#include "files/interruptedOpens.h"
#include "helpers/TempDir.h"
#include "helpers/TemporaryPlace.h"
#include "helpers/faults/calls.h"
#include "helpers/wallClock.h"

namespace vorn::common::fs {
namespace {

using faults::Call;
using namespace std::chrono_literals;
using helpers::contentOf;
using helpers::modeOf;
using std::filesystem::perms;

class LaterTimes : public testing::TestWithParam<std::int64_t> {
  protected:
    LaterTimes() {
        if (helpers::ownsWallClock()) {
            clock_.emplace(GetParam());
        }
    }

    std::string write(const std::string& name, const std::string& content) const {
        auto path = dir_.write(name, content);
        helpers::giveTimes(path, GetParam());
        return path;
    }

    // The directory last: entries change its times.
    void giveTimesToDirectory() const { helpers::giveTimes(dir_.path(), GetParam()); }

    const helpers::TempDir dir_;

  private:
    std::optional<helpers::MovedWallClock> clock_;
};

INSTANTIATE_TEST_SUITE_P(After, LaterTimes, testing::Values(helpers::kIn2040, helpers::kIn2106),
                         [](const auto& instant) {
                             return instant.param == helpers::kIn2040 ? "2038" : "2106";
                         });

TEST_P(LaterTimes, FilesOfAnySizeAreRead) {
    const std::string large(2'000'000, 'x');
    EXPECT_EQ(tools::readFile(write("large", large)), large);
    EXPECT_EQ(tools::readFile(write("small", "text")), "text");
    giveTimesToDirectory();
    EXPECT_THROW(static_cast<void>(tools::readFile(dir_.path())), std::runtime_error);
}

TEST_P(LaterTimes, FilesAreCopiedWithTheirPermissions) {
    const auto from = write("from", "new");
    const auto to = write("to", "longer than it");
    std::filesystem::permissions(from, perms(0640));
    helpers::giveTimes(from, GetParam());
    EXPECT_TRUE(tools::copyFile(from, to));
    EXPECT_EQ(contentOf(to), "new");
    EXPECT_EQ(modeOf(to), 0640U);
    EXPECT_TRUE(tools::copyFile(from, dir_.file("missing")));
    EXPECT_EQ(contentOf(dir_.file("missing")), "new");
    EXPECT_FALSE(tools::copyFile(from, from));
    EXPECT_EQ(contentOf(from), "new");
    giveTimesToDirectory();
    EXPECT_FALSE(tools::copyFile(dir_.path(), to));
    EXPECT_FALSE(tools::copyFile(from, dir_.path()));
    EXPECT_EQ(contentOf(to), "new");
}

TEST_P(LaterTimes, FilesAreSwappedByNameAndByCopying) {
    for (const int error : {0, EINVAL}) {
        faults::Calls calls;
        calls.fail(Call::renameat2, error);
        const auto a = write("a", "content of a");
        const auto b = write("b", "content of b");
        std::filesystem::permissions(a, perms(0640));
        helpers::giveTimes(a, GetParam());
        tools::swapFiles(a, b);
        EXPECT_EQ(contentOf(a), "content of b");
        EXPECT_EQ(contentOf(b), "content of a");
        EXPECT_EQ(modeOf(b), 0640U);
        EXPECT_EQ(dir_.entries(), 2U);
    }
}

TEST_P(LaterTimes, TheTemporaryDirectoryIsFound) {
    const auto place = dir_.file("place");
    std::filesystem::create_directory(place);
    helpers::giveTimes(place, GetParam());
    const helpers::TemporaryPlace temporary(place);
    const auto file = tools::createTemporaryFile("x");
    EXPECT_EQ(std::filesystem::path(file).parent_path(), place);
    EXPECT_TRUE(tools::deleteFile(file));
    helpers::giveTimes(place, GetParam());
    const auto folder = tools::createTemporaryFolder("x");
    EXPECT_EQ(std::filesystem::path(folder).parent_path(), place);
    tools::removeFolder(folder);
    EXPECT_EQ(std::filesystem::directory_iterator(place), std::filesystem::directory_iterator());
}

TEST_P(LaterTimes, DirectoriesAreTemporary) {
    const auto path = dir_.file("d");
    {
        TemporaryDirectory directory(path, perms(0710));
        helpers::giveTimes(path, GetParam());
        EXPECT_TRUE(directory.checkIfExists());
        EXPECT_EQ(directory.permissions(), perms(0710));
        directory.setPermissions(perms(0700));
        EXPECT_EQ(modeOf(path), 0700U);
        helpers::giveTimes(path, GetParam());
        try {
            const TemporaryDirectory again(path);
            ADD_FAILURE() << "there is one already";
        } catch (const std::filesystem::filesystem_error& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr("Temporary directory already exist"));
        }
        tools::createFile(path + "/file", "text");
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_P(LaterTimes, FilesAreTemporary) {
    const auto path = write("file", "text");
    {
        TemporaryFile file(path, true);
        EXPECT_TRUE(file.checkIfExists());
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_P(LaterTimes, LocksAreTakenByInterruptedAttemptsToo) {
    const auto path = dir_.file("lock");
    FileMutex mutex(path);
    {
        faults::Calls calls;
        files::interruptAfterCreation(calls);
        EXPECT_TRUE(mutex.try_lock());
    }
    EXPECT_FALSE(FileMutex(path).try_lock());
    mutex.unlock();
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_P(LaterTimes, WhatADeadProcessLeftIsNobodysAndKeepsItsTimes) {
    const auto path = write("lock", "");
    helpers::giveTimes(path, GetParam() - 3600);
    const auto before = helpers::timesOf(path);
    faults::Calls calls;
    calls.hook(Call::open, faults::interruptEveryOther);
    EXPECT_FALSE(FileMutex(path).try_lock());
    EXPECT_EQ(helpers::timesOf(path), before);
}

TEST(WallClockJumps, DeadlinesOfLocksDoNotFollow) {
    if (!helpers::ownsWallClock()) {
        GTEST_SKIP() << "the clock of this machine is not the tests' own";
    }
    const helpers::TempDir dir;
    FileMutex holder(dir.file("lock"));
    holder.lock();
    for (const std::int64_t instant : {helpers::kIn2040, std::int64_t{1'000'000'000}}) {
        std::optional<helpers::MovedWallClock> clock;
        FileMutex waiting(dir.file("lock"));
        const auto begin = std::chrono::steady_clock::now();
        auto moving = std::async(std::launch::async, [&] { clock.emplace(instant); });
        EXPECT_FALSE(waiting.try_lock_until(begin + 250ms));
        const auto waited = std::chrono::steady_clock::now() - begin;
        moving.get();
        EXPECT_GE(waited, 250ms);
        EXPECT_LT(waited, 60s);
    }
    holder.unlock();
}

}  // namespace
}  // namespace vorn::common::fs
