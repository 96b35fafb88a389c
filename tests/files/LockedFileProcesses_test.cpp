// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/fs/LockedFile.h>

#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/calls.h"
#include "helpers/leave.h"
#include "helpers/wait_until.h"

namespace vorn::common::fs {
namespace {

using helpers::TempDir;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int kProcesses = 16;
// Instrumented processes are many times slower, emulated ones that spin for a lock still more.
constexpr int kIncrements = helpers::kForeign ? 10 : helpers::kSlow ? 25 : 500;

template <class Increment>
void expectNoLostIncrement(const std::string& path, Increment increment) {
    std::vector<pid_t> children;
    for (int i = 0; i < kProcesses; ++i) {
        children.push_back(helpers::startProcess([&] {
            for (int k = 0; k < kIncrements; ++k) {
                increment();
            }
            return 0;
        }));
    }
    for (const auto pid : children) {
        EXPECT_EQ(helpers::waitForEnd(pid), 0);
    }
    EXPECT_EQ(helpers::contentOf(path), std::to_string(kProcesses * kIncrements));
    EXPECT_FALSE(std::filesystem::exists(path + ".lck"));
}

void incrementNumber(std::fstream& stream) {
    int number = 0;
    stream >> number;
    stream.clear();
    stream.seekp(0);
    stream << number + 1 << std::flush;
}

TEST(LockedFileProcesses, LoseNoIncrementOfALockedFile) {
    const TempDir dir;
    const auto path = dir.write("number", "0");
    expectNoLostIncrement(path, [&] {
        auto file = LockedFile::wait(path);
        incrementNumber(file.stream());
    });
}

TEST(LockedFileProcesses, LoseNoIncrementUnderAFileMutex) {
    const TempDir dir;
    const auto path = dir.write("number", "0");
    expectNoLostIncrement(path, [&] {
        FileMutex mutex(path + ".lck");
        const std::lock_guard lock(mutex);
        std::fstream stream(path);
        incrementNumber(stream);
    });
}

// As on a network file system: of the calls that create the lock file some are interrupted before
// they did anything, some after they created it.
TEST(LockedFileProcesses, LoseNoIncrementWhileCreationsAreInterrupted) {
    const TempDir dir;
    const auto path = dir.write("number", "0");
    expectNoLostIncrement(path, [&] {
        thread_local std::minstd_rand random(static_cast<unsigned>(::getpid()));
        faults::Calls calls;
        calls.hook(faults::Call::open, [](auto& call) {
            if ((call.flags & O_EXCL) == 0) {
                return 0;
            }
            const auto choice = random() % 4;
            if (choice == 0) {
                static_cast<void>(
                    ::close(::open(call.path, static_cast<int>(call.flags), call.mode)));
            }
            return choice < 2 ? EINTR : 0;
        });
        FileMutex mutex(path + ".lck");
        const std::unique_lock lock(mutex, Clock::now() + 60s);
        if (!lock.owns_lock()) {
            throw std::runtime_error("locked out");
        }
        std::fstream stream(path);
        incrementNumber(stream);
    });
}

TEST(LockedFileProcesses, DeliberatelyAKilledHolderLeavesTheLockFile) {
    const TempDir dir;
    const auto path = dir.file("data");
    const auto ready = dir.file("ready");
    const auto pid = helpers::startProcess([&] {
        const auto file = LockedFile::create(path);
        std::ofstream(ready) << "x";
        for (;;) {
            ::pause();
        }
        return 0;
    });
    ASSERT_TRUE(helpers::waitUntil([&] { return std::filesystem::exists(ready); }));
    ::kill(pid, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(helpers::waitForEnd(pid)));
    EXPECT_TRUE(std::filesystem::exists(path + ".lck"));
    EXPECT_THROW(LockedFile::tryCreateUntil(path, Clock::now() + 120ms), std::ios_base::failure);
    std::filesystem::remove(path + ".lck");
    EXPECT_NO_THROW(LockedFile::tryCreateUntil(path, Clock::now()));
}

TEST(LockedFileProcesses, OneProcessWaitsForAnothersFile) {
    const TempDir dir;
    const auto path = dir.file("data");
    const auto pid = helpers::startProcess([&] {
        LockedFile::create(path).stream() << "produced";
        return 0;
    });
    std::string word;
    LockedFile::waitUntil(path, Clock::now() + 60s).stream() >> word;
    EXPECT_EQ(word, "produced");
    EXPECT_EQ(helpers::waitForEnd(pid), 0);
}

}  // namespace
}  // namespace vorn::common::fs
