#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/fs/FileMutex.h>

#include "helpers/TempDir.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/allocation.h"
#include "helpers/faults/calls.h"
#include "helpers/wait_until.h"

namespace vorn::common::fs {
namespace {

using faults::Call;
using helpers::TempDir;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

static_assert(!std::is_copy_constructible_v<FileMutex>);
static_assert(!std::is_copy_assignable_v<FileMutex>);
static_assert(!std::is_convertible_v<std::string, FileMutex>);

bool exists(const std::string& path) {
    return std::filesystem::exists(path);
}

TEST(FileMutex, TheLockFileIsTheLock) {
    const TempDir dir;
    const auto path = dir.file("name with space\n");
    FileMutex mutex(path);
    FileMutex other(path);
    EXPECT_FALSE(exists(path));
    mutex.lock();
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0600));
    EXPECT_EQ(status.st_size, 0);
    EXPECT_FALSE(other.try_lock());
    EXPECT_TRUE(exists(path));
    mutex.unlock();
    EXPECT_FALSE(exists(path));
    EXPECT_TRUE(other.try_lock());
    other.unlock();
    EXPECT_FALSE(exists(path));
}

TEST(FileMutex, LeavesAForeignLockFileAlone) {
    const TempDir dir;
    const auto path = dir.write("lock", "somebody's");
    FileMutex mutex(path);
    EXPECT_FALSE(mutex.try_lock());
    EXPECT_EQ(helpers::contentOf(path), "somebody's");
    std::filesystem::remove(path);
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(FileMutex, UnlockWithoutTheLockFileIsNoError) {
    const TempDir dir;
    FileMutex mutex(dir.file("lock"));
    mutex.lock();
    std::filesystem::remove(dir.file("lock"));
    EXPECT_NO_THROW(mutex.unlock());
}

TEST(FileMutex, DescriptorIsCloseOnExecAndClosedByUnlock) {
    const TempDir dir;
    const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(next);
    FileMutex mutex(dir.file("lock"));
    mutex.lock();
    EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(::fcntl(next, F_GETFL) & O_ACCMODE, O_WRONLY);
    mutex.unlock();
    EXPECT_EQ(::fcntl(next, F_GETFD), -1);
}

TEST(FileMutex, MisuseIsReportedAndThrown) {
    const TempDir dir;
    FileMutex mutex(dir.file("lock"));
    struct Row {
        std::string operation;
        bool owned;
        std::function<void()> call;
    };
    const std::vector<Row> rows{
        {"lock", true, [&] { mutex.lock(); }},
        {"try_lock", true, [&] { static_cast<void>(mutex.try_lock()); }},
        {"try_lock_until", true, [&] { static_cast<void>(mutex.try_lock_until(Clock::now())); }},
        {"unlock", false, [&] { mutex.unlock(); }},
    };
    for (const auto& row : rows) {
        if (row.owned) {
            mutex.lock();
        }
        const auto expected =
            "ERROR - FileMutex::" + row.operation +
            (row.owned ? " - mutex is already owned\n" : " - mutex is not owned\n");
        testing::internal::CaptureStderr();
        EXPECT_THROW_TEXT(row.call(), std::runtime_error, expected);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
        EXPECT_EQ(exists(dir.file("lock")), row.owned);
        if (row.owned) {
            mutex.unlock();
        }
    }
}

TEST(FileMutex, DeliberatelyLeavesTheLockFileWhenDestroyedHeld) {
    const TempDir dir;
    const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(next);
    std::optional<FileMutex> mutex(dir.file("lock"));
    mutex->lock();
    testing::internal::CaptureStderr();
    mutex.reset();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "WARNING - FileMutex::~FileMutex - destroy a mutex which has not been released\n");
    EXPECT_TRUE(exists(dir.file("lock")));
    EXPECT_NE(::fcntl(next, F_GETFD), -1) << "the descriptor stays open";
    ::close(next);
    FileMutex other(dir.file("lock"));
    EXPECT_FALSE(other.try_lock());
}

TEST(FileMutex, DestroyedUnheldSaysNothing) {
    const TempDir dir;
    dir.write("lock", "");
    testing::internal::CaptureStderr();
    { const FileMutex mutex(dir.file("lock")); }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(exists(dir.file("lock")));
}

TEST(FileMutex, APastDeadlineMakesOneAttempt) {
    const TempDir dir;
    FileMutex mutex(dir.file("lock"));
    for (const auto deadline : {Clock::now(), Clock::now() - 1h, Clock::time_point::min()}) {
        EXPECT_TRUE(mutex.try_lock_until(deadline));
        FileMutex other(dir.file("lock"));
        EXPECT_FALSE(other.try_lock_until(deadline));
        mutex.unlock();
    }
}

TEST(FileMutex, NumberOfAttempts) {
    const TempDir dir;
    dir.write("lock", "");
    FileMutex mutex(dir.file("lock"));
    struct Row {
        std::function<bool()> call;
        int least;
        int most;
    };
    const std::vector<Row> rows{
        {[&] { return mutex.try_lock(); }, 1, 1},
        {[&] { return mutex.try_lock_until(Clock::now()); }, 1, 1},
        {[&] { return mutex.try_lock_until(Clock::now() - 1h); }, 1, 1},
        {[&] { return mutex.try_lock_until(Clock::time_point::min()); }, 1, 1},
        // At the start, after each pause of 100 ms, and at the deadline.
        {[&] { return mutex.try_lock_until(Clock::now() + 350ms); }, 2, 5},
    };
    for (const auto& row : rows) {
        const faults::Calls calls;
        EXPECT_FALSE(row.call());
        EXPECT_GE(calls.count(Call::open), row.least);
        EXPECT_LE(calls.count(Call::open), row.most);
    }
}

TEST(FileMutex, AnInterruptedAttemptIsRepeated) {
    const TempDir dir;
    FileMutex mutex(dir.file("lock"));
    faults::Calls calls;
    calls.hook(Call::open, faults::interruptEveryOther);
    EXPECT_TRUE(mutex.try_lock());
    EXPECT_EQ(calls.count(Call::open), 2);
    mutex.unlock();
}

/// An open that network file systems know: it creates the file and is interrupted all the same.
void interruptAfterCreation(faults::Calls& calls, int only) {
    calls.hook(Call::open, [only](auto& call) {
        if (call.ordinal != only || (call.flags & O_EXCL) == 0) {
            return 0;
        }
        const int file = ::open(call.path, static_cast<int>(call.flags), call.mode);
        static_cast<void>(::close(file));
        return EINTR;
    });
}

TEST(FileMutex, AnInterruptedAttemptThatCreatedTheFileHoldsTheLock) {
    const TempDir dir;
    const auto path = dir.file("lock");
    FileMutex mutex(path);
    {
        faults::Calls calls;
        interruptAfterCreation(calls, 1);
        EXPECT_TRUE(mutex.try_lock());
    }
    FileMutex other(path);
    EXPECT_FALSE(other.try_lock());
    mutex.unlock();
    EXPECT_FALSE(exists(path));
    EXPECT_TRUE(other.try_lock());
    other.unlock();
}

TEST(FileMutex, AnInterruptedAttemptTakesNobodyElsesLock) {
    const TempDir dir;
    const auto path = dir.file("lock");
    FileMutex mutex(path);
    const auto triesInVain = [&](const char* what) {
        faults::Calls calls;
        calls.hook(Call::open, faults::interruptEveryOther);
        EXPECT_FALSE(mutex.try_lock()) << what;
        EXPECT_TRUE(exists(path)) << what;
    };
    {
        FileMutex holder(path);
        holder.lock();
        triesInVain("held");
        holder.unlock();
    }
    dir.write("lock", "");
    const auto before = std::filesystem::file_time_type::clock::now() - 2s;
    std::filesystem::last_write_time(path, before);
    triesInVain("left by a dead process");
    std::filesystem::remove(path);
    dir.write("lock", "somebody's");
    triesInVain("not a lock file of ours");
    std::filesystem::remove(path);
    dir.write("lock", "");
    std::filesystem::permissions(path, std::filesystem::perms::sticky_bit);
    triesInVain("about to be removed by its holder");
}

TEST(FileMutex, AHolderWhoseFileAnInterruptedAttemptHasTakenDoesNotHoldIt) {
    const TempDir dir;
    const auto path = dir.file("lock");
    FileMutex first(path);
    FileMutex second(path);
    faults::Calls calls;
    bool taken = false;
    calls.hook(Call::open, [&](auto& call) {
        if (call.ordinal != 1) {
            return 0;
        }
        // Between the creation of the file and the next step of the first one.
        call.answer = ::open(call.path, static_cast<int>(call.flags), call.mode);
        std::thread([&] {
            faults::Calls interrupting;
            interrupting.hook(Call::open, faults::interruptEveryOther);
            taken = second.try_lock();
        }).join();
        return 0;
    });
    EXPECT_FALSE(first.try_lock());
    ASSERT_TRUE(taken);
    second.unlock();
    EXPECT_FALSE(exists(path));
}

TEST(FileMutex, AHolderWhoseFileWasTakenAndReleasedDoesNotHoldIt) {
    const TempDir dir;
    const auto path = dir.file("lock");
    FileMutex mutex(path);
    faults::Calls calls;
    calls.hook(Call::open, [&](auto& call) {
        call.answer = ::open(call.path, static_cast<int>(call.flags), call.mode);
        // As its new holder does: not removed yet, but about to be.
        std::filesystem::permissions(path, std::filesystem::perms::sticky_bit);
        return 0;
    });
    EXPECT_FALSE(mutex.try_lock());
}

TEST(FileMutex, WorksUnderEveryUmask) {
    const TempDir dir;
    FileMutex mutex(dir.file("lock"));
    const auto before = ::umask(0777);
    const bool locked = mutex.try_lock();
    ::umask(before);
    ASSERT_TRUE(locked);
    mutex.unlock();
}

TEST(FileMutex, UnlockNeedsNoMemory) {
    const TempDir dir;
    const auto path = dir.file("a name that does not fit into a short string, nor its path");
    FileMutex mutex(path);
    {
        std::unique_lock lock(mutex);
        const faults::NoMemory shortage;
        lock.unlock();
    }
    EXPECT_FALSE(exists(path));
    {
        const faults::NoMemory shortage;
        const std::lock_guard lock(mutex);
    }
    EXPECT_FALSE(exists(path));
}

TEST(FileMutex, AfterUnlockNothingIsOwnedWhateverHappensToTheFile) {
    const TempDir dir;
    FileMutex mutex(dir.file("lock"));
    mutex.lock();
    {
        faults::Calls calls;
        calls.fail(Call::unlink, EIO).fail(Call::fchmod, EIO);
        EXPECT_NO_THROW(mutex.unlock());
    }
    EXPECT_TRUE(exists(dir.file("lock")));
    EXPECT_FALSE(mutex.try_lock()) << "not owned any more, but there";
}

TEST(FileMutex, WaitsForTheDeadline) {
    const TempDir dir;
    dir.write("lock", "");
    FileMutex mutex(dir.file("lock"));
    for (const auto limit : {20ms, 250ms}) {
        const auto deadline = Clock::now() + limit;
        EXPECT_FALSE(mutex.try_lock_until(deadline));
        EXPECT_GE(Clock::now(), deadline);
    }
}

TEST(FileMutex, TriesOnceMoreAtTheDeadline) {
    const TempDir dir;
    // The lock file vanishes after the first attempt and before a deadline shorter than the period.
    for (int round = 0; round < 20; ++round) {
        const auto path = dir.write("lock", "");
        FileMutex mutex(path);
        const auto start = Clock::now();
        std::thread remover([&] {
            std::this_thread::sleep_for(5ms);
            std::filesystem::remove(path);
        });
        const bool locked = mutex.try_lock_until(start + 90ms);
        remover.join();
        if (locked) {
            mutex.unlock();
            return;
        }
    }
    FAIL() << "never took the lock that became free before the deadline";
}

TEST(FileMutex, WaitsForEver) {
    const TempDir dir;
    FileMutex holder(dir.file("lock"));
    holder.lock();
    std::atomic<bool> locked{false};
    std::thread waiter([&] {
        FileMutex mutex(dir.file("lock"));
        const std::unique_lock lock(mutex, Clock::time_point::max());
        locked = lock.owns_lock();
    });
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(locked);
    holder.unlock();
    waiter.join();
    EXPECT_TRUE(locked);
    EXPECT_FALSE(exists(dir.file("lock")));
}

TEST(FileMutex, DeliberatelySpinsOnAnImpossiblePath) {
    const TempDir dir;
    std::atomic<bool> locked{false};
    std::thread spinner([&] {
        FileMutex mutex(dir.file("no/lock"));
        mutex.lock();
        locked = true;
        mutex.unlock();
    });
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(locked);
    std::filesystem::create_directory(dir.file("no"));
    spinner.join();
    EXPECT_TRUE(locked);
}

TEST(FileMutex, IsHeldByStandardLocks) {
    const TempDir dir;
    FileMutex mutex(dir.file("lock"));
    {
        const std::lock_guard lock(mutex);
        FileMutex other(dir.file("lock"));
        const std::unique_lock tried(other, std::try_to_lock);
        EXPECT_FALSE(tried.owns_lock());
    }
    std::unique_lock lock(mutex, std::defer_lock);
    EXPECT_TRUE(lock.try_lock_until(Clock::now() + 1s));
    EXPECT_TRUE(exists(dir.file("lock")));
    lock.unlock();
    EXPECT_FALSE(exists(dir.file("lock")));
}

}  // namespace
}  // namespace vorn::common::fs
