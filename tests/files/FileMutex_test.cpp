// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iostream>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <streambuf>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/fs/FileMutex.h>

#include "files/devices.h"
#include "files/interruptedOpens.h"
#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/allocation.h"
#include "helpers/faults/calls.h"
#include "helpers/refusedCalls.h"
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

TEST(FileMutex, AWarningThatCannotBeWrittenIsDropped) {
    struct Refusing : std::streambuf {
        int_type overflow(int_type) override { throw std::runtime_error("refused"); }
    } refusing;
    const TempDir dir;
    auto* const before = std::cerr.rdbuf(&refusing);
    std::cerr.exceptions(std::ios_base::badbit);
    EXPECT_NO_THROW({
        FileMutex mutex(dir.file("lock"));
        mutex.lock();
    });
    std::cerr.exceptions(std::ios_base::goodbit);
    std::cerr.rdbuf(before);
    std::cerr.clear();
    EXPECT_TRUE(exists(dir.file("lock")));
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

TEST(FileMutex, OneAttemptIsOneCall) {
    const TempDir dir;
    dir.write("lock", "");
    FileMutex mutex(dir.file("lock"));
    const std::vector<std::function<bool()>> attempts{
        [&] { return mutex.try_lock(); },
        [&] { return mutex.try_lock_until(Clock::now()); },
        [&] { return mutex.try_lock_until(Clock::now() - 1h); },
        [&] { return mutex.try_lock_until(Clock::time_point::min()); },
    };
    for (const auto& attempt : attempts) {
        const faults::Calls calls;
        EXPECT_FALSE(attempt());
        EXPECT_EQ(calls.count(Call::open), 1);
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

TEST(FileMutex, AnInterruptedAttemptThatCreatedTheFileHoldsTheLock) {
    const TempDir dir;
    const auto path = dir.file("lock");
    FileMutex mutex(path);
    {
        faults::Calls calls;
        files::interruptAfterCreation(calls);
        EXPECT_TRUE(mutex.try_lock());
    }
    FileMutex other(path);
    EXPECT_FALSE(other.try_lock());
    mutex.unlock();
    EXPECT_FALSE(exists(path));
    EXPECT_TRUE(other.try_lock());
    other.unlock();
}

TEST(FileMutex, AnInterruptedAttemptHoldsItsFileAlthoughTheTimesOfFilesLag) {
    const TempDir dir;
    const auto path = dir.file("lock");
    FileMutex mutex(path);
    faults::Calls calls;
    files::interruptAfterCreation(calls);
    // Asked for the second time: what the first attempt created has an old time by then.
    calls.hook(Call::open, [&](auto& call) {
        if (call.ordinal == 2) {
            std::filesystem::last_write_time(path,
                                             std::filesystem::file_time_type::clock::now() - 500ms);
        }
        return 0;
    });
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
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
    const auto before = std::filesystem::file_time_type::clock::now() - 1min;
    std::filesystem::last_write_time(path, before);
    triesInVain("left by a dead process");
    triesInVain("no younger by having been looked at");
    EXPECT_EQ(std::filesystem::last_write_time(path), before);
    std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() + 1min);
    triesInVain("left before the wall clock was set back");
    std::filesystem::remove(path);
    dir.write("lock", "somebody's");
    triesInVain("not a lock file of ours");
    std::filesystem::remove(path);
    dir.write("lock", "");
    std::filesystem::permissions(path, std::filesystem::perms::sticky_bit);
    triesInVain("about to be removed by its holder");
    std::filesystem::remove(path);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    triesInVain("a pipe that can be opened");
    ::close(reader);
    if (helpers::isRoot()) {
        std::filesystem::remove(path);
        dir.write("lock", "");
        ASSERT_EQ(::chown(path.c_str(), 1000, 1000), 0);
        triesInVain("another user's, which root may open");
    }
}

TEST(FileMutex, AnInterruptedAttemptThatCannotSetTheTimesOfItsFileDoesNotHoldIt) {
    constexpr std::uint32_t kTouching = 0;  // without times
    std::vector<long> numbers{SYS_utimensat};
#ifdef SYS_utimensat_time64
    numbers.push_back(SYS_utimensat_time64);
#endif
    for (const std::uint32_t mask : {0U, ~0U}) {
        const TempDir dir;
        const auto path = dir.file("lock");
        const auto result = helpers::runInChild([&](const auto& report) {
            for (const long number : numbers) {
                if (!helpers::refuse({number, EPERM, 2, mask, kTouching})) {
                    return 77;
                }
            }
            FileMutex mutex(path);
            faults::Calls calls;
            files::interruptAfterCreation(calls);
            report(mutex.try_lock() ? "held" : "");
            return 0;
        });
        if (result.exitCode == 77) {
            GTEST_SKIP() << "needs a kernel with filters for system calls (seccomp)";
        }
        EXPECT_EQ(result.exitCode, 0) << mask;
        EXPECT_EQ(result.report, "") << mask;
        EXPECT_TRUE(exists(path)) << mask;
    }
}

// Two memory file systems number their files alike.
TEST(FileMutex, AnInterruptedAttemptDoesNotHoldAFileOfAnotherDevice) {
    VORN_REQUIRE_ROOT();
    const TempDir dir;
    const auto result = files::onDevice(dir.path(), "size=64k", [&] {
        FileMutex mutex(dir.file("lock"));
        faults::Calls calls;
        files::interruptAfterCreation(calls);
        bool mounted = false;
        calls.hook(Call::fstat, [&](auto& call) {
            if (call.ordinal == 2) {
                mounted = ::mount("other", dir.path().c_str(), "tmpfs", 0, "size=64k") == 0;
                dir.write("lock", "");
            }
            return 0;
        });
        return std::string(mutex.try_lock() ? "held" : mounted ? "" : "not mounted");
    });
    if (result.exitCode == files::kNoDevice) {
        GTEST_SKIP() << result.report;
    }
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.report, "");
}

TEST(FileMutex, AnInterruptedAttemptDoesNotLockWhatCannotBeItsOwn) {
    const TempDir dir;
    const auto path = dir.write("lock", "somebody's");
    FileMutex mutex(path);
    faults::Calls calls;
    calls.hook(Call::open, faults::interruptEveryOther);
    int looks = 0;
    calls.hook(Call::fstat, [&](auto&) {
        ++looks;
        std::thread([&path] {
            const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
            EXPECT_EQ(::flock(file, LOCK_EX | LOCK_NB), 0);
            ::close(file);
        }).join();
        return 0;
    });
    EXPECT_FALSE(mutex.try_lock());
    EXPECT_EQ(looks, 1);
}

TEST(FileMutex, AnInterruptedAttemptThatCannotLookAtTheFileDoesNotLockIt) {
    const TempDir dir;
    const auto path = dir.file("lock");
    for (int look = 1; look <= 3; ++look) {
        faults::Calls calls;
        files::interruptAfterCreation(calls);
        calls.fail(Call::fstat, EIO, look);
        EXPECT_FALSE(FileMutex(path).try_lock()) << look;
        EXPECT_EQ(calls.count(Call::fstat), look);
        std::filesystem::remove(path);
    }
    for (const int open : {2, 3}) {
        faults::Calls calls;
        files::interruptAfterCreation(calls);
        calls.fail(Call::open, EACCES, open);
        EXPECT_FALSE(FileMutex(path).try_lock()) << open;
        std::filesystem::remove(path);
    }
}

TEST(FileMutex, AnInterruptedAttemptDoesNotLockWhatHasLostItsName) {
    const TempDir dir;
    const auto path = dir.file("lock");
    for (const bool replaced : {false, true}) {
        FileMutex mutex(path);
        faults::Calls calls;
        files::interruptAfterCreation(calls);
        calls.hook(Call::fstat, [&](auto& call) {
            if (call.ordinal == 2) {
                std::filesystem::remove(path);
                if (replaced) {
                    dir.write("lock", "");
                }
            }
            return 0;
        });
        EXPECT_FALSE(mutex.try_lock()) << replaced;
        std::filesystem::remove(path);
    }
}

TEST(FileMutex, AHolderThatCannotLookAtItsFileHoldsIt) {
    const TempDir dir;
    FileMutex mutex(dir.file("lock"));
    faults::Calls calls;
    calls.fail(Call::fstat, EIO);
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
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
            interrupting.hook(Call::open, [&](auto& opening) {
                if (opening.ordinal == 1) {
                    // No older than the attempt, however slowly this machine goes on.
                    std::filesystem::last_write_time(path,
                                                     std::filesystem::file_time_type::clock::now());
                    return EINTR;
                }
                return 0;
            });
            taken = second.try_lock();
        }).join();
        return 0;
    });
    EXPECT_FALSE(first.try_lock());
    ASSERT_TRUE(taken);
    second.unlock();
    EXPECT_FALSE(exists(path));
}

/// Another process's attempt that looks whether the file is its own: it has the lock on the file
/// until somebody sleeps.
class Looker {
  public:
    explicit Looker(faults::Calls& calls) {
        calls.hook(Call::nanosleep, [this](auto&) {
            end();
            return 0;
        });
    }
    ~Looker() { end(); }
    Looker(const Looker&) = delete;
    Looker& operator=(const Looker&) = delete;

    void look(const std::string& path) {
        file_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
        EXPECT_EQ(::flock(file_, LOCK_EX | LOCK_NB), 0);
    }

  private:
    void end() {
        if (file_ != -1) {
            ::close(std::exchange(file_, -1));
        }
    }

    int file_ = -1;
};

/// Somebody looks at the lock file as soon as `create` has made it.
void expectLockedInSpiteOfALooker(const std::function<int(faults::Invocation&)>& create) {
    const TempDir dir;
    const auto path = dir.file("lock");
    FileMutex mutex(path);
    faults::Calls calls;
    Looker looker(calls);
    calls.hook(Call::open, [&](auto& call) {
        if (call.ordinal != 1) {
            return 0;
        }
        const int error = create(call);
        looker.look(path);
        return error;
    });
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
    EXPECT_FALSE(exists(path));
}

TEST(FileMutex, AnInterruptedAttemptOutlastsWhoOnlyLooksAtItsFile) {
    expectLockedInSpiteOfALooker([](auto& call) {
        ::close(::open(call.path, static_cast<int>(call.flags), call.mode));
        return EINTR;
    });
}

TEST(FileMutex, AHolderOutlastsWhoOnlyLooksAtItsNewFile) {
    expectLockedInSpiteOfALooker([](auto& call) {
        call.answer = ::open(call.path, static_cast<int>(call.flags), call.mode);
        return 0;
    });
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

TEST(FileMutex, WhereFilesCannotBeLockedWhoCreatesTheFileHoldsIt) {
    const TempDir dir;
    const auto path = dir.file("lock");
    FileMutex mutex(path);
    faults::Calls calls;
    calls.fail(Call::flock, ENOLCK);
    ASSERT_TRUE(mutex.try_lock());
    EXPECT_FALSE(FileMutex(path).try_lock());
    mutex.unlock();
    EXPECT_FALSE(exists(path));
    EXPECT_GE(calls.count(Call::flock), 1);
}

TEST(FileMutex, WhereFilesCannotBeLockedAnInterruptedAttemptTakesNoFile) {
    const TempDir dir;
    const auto path = dir.file("lock");
    FileMutex mutex(path);
    faults::Calls calls;
    calls.fail(Call::flock, ENOLCK);
    files::interruptAfterCreation(calls);
    EXPECT_FALSE(mutex.try_lock());
    EXPECT_TRUE(exists(path));
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

TEST(FileMutex, TriesOnceMoreAtTheDeadline) {
    const TempDir dir;
    FileMutex mutex(dir.file("lock"));
    int pauses = 0;
    // On a busy machine the time may be over before the pause: once more.
    for (int round = 0; pauses == 0 && round < 100; ++round) {
        const auto path = dir.write("lock", "");
        faults::Calls calls;
        // The holder releases it during the one pause that is shorter than the period.
        calls.hook(Call::nanosleep, [&](auto&) {
            std::filesystem::remove(path);
            return 0;
        });
        const bool locked = mutex.try_lock_until(Clock::now() + 90ms);
        pauses = calls.count(Call::nanosleep);
        EXPECT_EQ(locked, pauses == 1);
        EXPECT_EQ(calls.count(Call::open), pauses + 1);
    }
    EXPECT_EQ(pauses, 1);
    mutex.unlock();
}

TEST(FileMutex, PausesForATenthOfASecondAndNotBeyondTheDeadline) {
    const TempDir dir;
    dir.write("lock", "");
    FileMutex mutex(dir.file("lock"));
    faults::Calls calls;
    std::vector<std::chrono::nanoseconds> pauses;
    calls.hook(Call::nanosleep, [&](auto& sleep) {
        const auto* const request = static_cast<const timespec*>(sleep.data);
        pauses.push_back(std::chrono::seconds(request->tv_sec) +
                         std::chrono::nanoseconds(request->tv_nsec));
        return 0;
    });
    const auto deadline = Clock::now() + 350ms;
    EXPECT_FALSE(mutex.try_lock_until(deadline));
    EXPECT_GE(Clock::now(), deadline);
    ASSERT_FALSE(pauses.empty());
    EXPECT_EQ(calls.count(Call::open), static_cast<int>(pauses.size()) + 1);
    const auto last = pauses.back();
    pauses.pop_back();
    EXPECT_LE(last, 350ms - pauses.size() * 100ms) << "clipped at the deadline";
    EXPECT_EQ(pauses, std::vector<std::chrono::nanoseconds>(pauses.size(), 100ms));
}

/// Waits until another thread has made so many more attempts on a lock.
void waitForAttempts(const std::atomic<int>& attempts, int more) {
    const int before = attempts;
    EXPECT_TRUE(helpers::waitUntil([&] { return attempts >= before + more; }));
}

/// Counts the calling thread's attempts.
class CountedAttempts {
  public:
    explicit CountedAttempts(std::atomic<int>& attempts) {
        calls_.hook(Call::open, [&attempts](auto&) {
            ++attempts;
            return 0;
        });
    }

  private:
    faults::Calls calls_;
};

TEST(FileMutex, WaitsForEver) {
    const TempDir dir;
    FileMutex holder(dir.file("lock"));
    holder.lock();
    std::atomic<int> attempts{0};
    std::atomic<bool> locked{false};
    std::thread waiter([&] {
        const CountedAttempts counted(attempts);
        FileMutex mutex(dir.file("lock"));
        const std::unique_lock lock(mutex, Clock::time_point::max());
        locked = lock.owns_lock();
    });
    waitForAttempts(attempts, 3);
    EXPECT_FALSE(locked);
    holder.unlock();
    waiter.join();
    EXPECT_TRUE(locked);
    EXPECT_FALSE(exists(dir.file("lock")));
}

TEST(FileMutex, DeliberatelySpinsOnAnImpossiblePath) {
    const TempDir dir;
    std::atomic<int> attempts{0};
    std::atomic<bool> locked{false};
    std::thread spinner([&] {
        const CountedAttempts counted(attempts);
        FileMutex mutex(dir.file("no/lock"));
        mutex.lock();
        locked = true;
        mutex.unlock();
    });
    waitForAttempts(attempts, 100);
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
