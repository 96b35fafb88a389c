// SPDX-License-Identifier: MIT
#include <mutex>
#include <shared_mutex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/RecursiveSharedMutex.h>

#include "helpers/Actor.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/allocation.h"
#include "helpers/faults/locks.h"
#include "helpers/thread_state.h"

namespace {

using helpers::Actor;
using vorn::common::RecursiveSharedMutex;

constexpr auto kNotUnique = "Cannot unique-unlock because not uniqly locked";
constexpr auto kUniqueWrongThread = "Cannot unique-unlock because of the wrong thread";
constexpr auto kNotShared = "Cannot shared-unlock because not sharedly locked";
constexpr auto kSharedWrongThread = "Cannot shared-unlock because of the wrong thread";

/// The mutex with three threads: "t", whose operations are tested, another one that holds locks,
/// and a third that looks from outside.
class Scene {
  public:
    /// Words of a thread ('t' or 'o') and a lock ('x' or 's'): "ox os" is exclusive and shared by
    /// o.
    explicit Scene(const std::string& held) {
        std::istringstream words(held);
        for (std::string word; words >> word;) {
            held_.push_back(word);
            actor(word[0]).run([&] { word[1] == 'x' ? mutex.lock() : mutex.lock_shared(); });
        }
    }
    ~Scene() {
        for (auto word = held_.rbegin(); word != held_.rend(); ++word) {
            actor((*word)[0]).run([&] {
                (*word)[1] == 'x' ? mutex.unlock() : mutex.unlock_shared();
            });
        }
        EXPECT_EQ(seenFromOutside(), "free");
    }

    /// The outcome: "done", "would wait", or the text of the std::logic_error.
    std::string apply(const std::string& operation) {
        return t.run([&]() -> std::string {
            try {
                if (operation == "try_lock") {
                    return mutex.try_lock() ? "done" : "would wait";
                }
                if (operation == "try_lock_shared") {
                    return mutex.try_lock_shared() ? "done" : "would wait";
                }
                if (operation == "lock") {
                    mutex.lock();
                } else if (operation == "lock_shared") {
                    mutex.lock_shared();
                } else if (operation == "unlock") {
                    mutex.unlock();
                } else {
                    mutex.unlock_shared();
                }
                return "done";
            } catch (const std::logic_error& error) {
                return error.what();
            }
        });
    }

    std::string seenFromOutside() {
        return outside.run([&]() -> std::string {
            if (mutex.try_lock()) {
                mutex.unlock();
                return "free";
            }
            if (mutex.try_lock_shared()) {
                mutex.unlock_shared();
                return "shared";
            }
            return "exclusive";
        });
    }

    /// What of the held locks remains to be released at the end.
    void gained(char lock) { held_.push_back({'t', lock}); }
    void lost(char lock) {
        const std::string word{'t', lock};
        for (auto found = held_.begin(); found != held_.end(); ++found) {
            if (*found == word) {
                held_.erase(found);
                return;
            }
        }
    }

    RecursiveSharedMutex mutex;

  private:
    Actor& actor(char name) { return name == 't' ? t : other; }

    Actor t;
    Actor other;
    Actor outside;
    std::vector<std::string> held_;
};

struct Row {
    std::string held;
    std::string lock;          // outcome of lock and try_lock
    std::string lockState;     // seen from outside after it
    std::string unlock;        //
    std::string unlockState;   //
    std::string share;         // outcome of lock_shared and try_lock_shared
    std::string shareState;    //
    std::string unshare;       //
    std::string unshareState;  //
};

const std::vector<Row> kTable{
    {"", "done", "exclusive", kNotUnique, "free", "done", "shared", kNotShared, "free"},
    {"ts", "done", "exclusive", kNotUnique, "shared", "done", "shared", "done", "free"},
    {"ts ts", "done", "exclusive", kNotUnique, "shared", "done", "shared", "done", "shared"},
    {"ts os", "would wait", "shared", kNotUnique, "shared", "done", "shared", "done", "shared"},
    {"os", "would wait", "shared", kNotUnique, "shared", "done", "shared", kSharedWrongThread,
     "shared"},
    {"tx", "done", "exclusive", "done", "free", "done", "exclusive", kNotShared, "exclusive"},
    {"tx tx", "done", "exclusive", "done", "exclusive", "done", "exclusive", kNotShared,
     "exclusive"},
    {"tx ts", "done", "exclusive", "done", "shared", "done", "exclusive", "done", "exclusive"},
    {"ts tx", "done", "exclusive", "done", "shared", "done", "exclusive", "done", "exclusive"},
    {"ox", "would wait", "exclusive", kUniqueWrongThread, "exclusive", "would wait", "exclusive",
     kNotShared, "exclusive"},
    {"ox os", "would wait", "exclusive", kUniqueWrongThread, "exclusive", "would wait", "exclusive",
     kSharedWrongThread, "exclusive"},
};

void check(const std::string& held, const std::string& operation, const std::string& outcome,
           const std::string& state) {
    SCOPED_TRACE("held: " + held + "; " + operation);
    Scene scene(held);
    EXPECT_EQ(scene.apply(operation), outcome);
    EXPECT_EQ(scene.seenFromOutside(), state);
    if (outcome == "done") {
        const char lock = operation.ends_with("shared") ? 's' : 'x';
        operation.starts_with("unlock") ? scene.lost(lock) : scene.gained(lock);
    }
}

TEST(RecursiveSharedMutex, FollowsItsTableOfStatesAndOperations) {
    for (const auto& row : kTable) {
        check(row.held, "try_lock", row.lock, row.lockState);
        check(row.held, "try_lock_shared", row.share, row.shareState);
        check(row.held, "unlock", row.unlock, row.unlockState);
        check(row.held, "unlock_shared", row.unshare, row.unshareState);
        if (row.lock == "done") {
            check(row.held, "lock", row.lock, row.lockState);
        }
        if (row.share == "done") {
            check(row.held, "lock_shared", row.share, row.shareState);
        }
    }
}

TEST(RecursiveSharedMutex, NestsBothModesOnOneThread) {
    RecursiveSharedMutex mutex;
    mutex.lock();
    mutex.lock();
    mutex.lock_shared();
    mutex.unlock_shared();
    mutex.unlock();
    mutex.unlock();
    EXPECT_THROW_TEXT(mutex.unlock(), std::logic_error, kNotUnique);
    EXPECT_THROW_TEXT(mutex.unlock_shared(), std::logic_error, kNotShared);
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(RecursiveSharedMutex, RefusesAnUpgradeBesideAnotherReader) {
    RecursiveSharedMutex mutex;
    Actor other;
    mutex.lock_shared();
    other.run([&] { mutex.lock_shared(); });
    EXPECT_FALSE(mutex.try_lock());
    EXPECT_FALSE(other.run([&] { return mutex.try_lock(); }));
    other.run([&] { mutex.unlock_shared(); });
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
    mutex.unlock_shared();
}

TEST(RecursiveSharedMutex, TakesNoLockOfItsOwnUnlessSomebodyWaits) {
    RecursiveSharedMutex mutex;
    Actor other;
    const auto expectNoLocks = [](const char* what, auto action) {
        const auto before = faults::lockOperations();
        action();
        EXPECT_EQ(faults::lockOperations() - before, 0U) << what;
    };
    const auto share = [&] {
        mutex.lock_shared();
        mutex.unlock_shared();
    };
    const auto own = [&] {
        mutex.lock();
        mutex.unlock();
    };
    expectNoLocks("a writer", own);
    other.run([&] { mutex.lock_shared(); });
    expectNoLocks("a reader beside another", share);
    EXPECT_FALSE(mutex.try_lock());
    expectNoLocks("a reader after a refused writer", share);
    mutex.lock_shared();
    EXPECT_FALSE(mutex.try_lock());
    mutex.unlock_shared();
    expectNoLocks("a reader after a refused upgrade", share);
    Actor writer;
    auto written = writer.post(own);
    ASSERT_TRUE(helpers::waitUntilAsleep(writer.tid()));
    other.run([&] { mutex.unlock_shared(); });
    written.get();
    expectNoLocks("a reader after a writer that waited", share);
    other.run([&] { mutex.lock(); });
    EXPECT_FALSE(mutex.try_lock_shared());
    auto read = writer.post(share);
    ASSERT_TRUE(helpers::waitUntilAsleep(writer.tid()));
    other.run([&] { mutex.unlock(); });
    read.get();
    expectNoLocks("a writer after a reader that waited", own);
}

TEST(RecursiveSharedMutex, StaysSharedWhenTheExclusiveLockEndsFirst) {
    RecursiveSharedMutex mutex;
    Actor other;
    mutex.lock();
    mutex.lock_shared();
    mutex.unlock();
    EXPECT_FALSE(other.run([&] { return mutex.try_lock(); }));
    EXPECT_TRUE(other.run([&] { return mutex.try_lock_shared(); }));
    other.run([&] { mutex.unlock_shared(); });
    mutex.unlock_shared();
}

TEST(RecursiveSharedMutex, WorksWithTheStandardLocks) {
    RecursiveSharedMutex mutex;
    RecursiveSharedMutex second;
    Actor other;
    {
        const std::shared_lock reading(mutex);
        const std::unique_lock writing(mutex, std::try_to_lock);
        EXPECT_TRUE(writing.owns_lock());
        EXPECT_FALSE(
            other.run([&] { return std::shared_lock(mutex, std::try_to_lock).owns_lock(); }));
    }
    {
        const std::scoped_lock both(mutex, second);
        EXPECT_FALSE(other.run([&] { return second.try_lock_shared(); }));
    }
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(RecursiveSharedMutex, AllocatesOnlyWhenMoreThanEightThreadsReadAndMoreThanEverBefore) {
    RecursiveSharedMutex mutex;
    std::vector<Actor> readers(11);
    const auto readTogether = [&] {
        std::size_t allocated = 0;
        for (auto& reader : readers) {
            allocated += reader.run([&] {
                const auto before = faults::allocations();
                mutex.lock_shared();
                return faults::allocations() - before;
            });
        }
        for (auto& reader : readers) {
            allocated += reader.run([&] {
                const auto before = faults::allocations();
                mutex.unlock_shared();
                return faults::allocations() - before;
            });
        }
        return allocated;
    };
    EXPECT_EQ(readTogether(), 3U);
    EXPECT_EQ(readTogether(), 0U);
    const auto before = faults::allocations();
    for (int i = 0; i < 100; ++i) {
        mutex.lock_shared();
        mutex.lock_shared();
        mutex.lock();
        mutex.unlock();
        mutex.unlock_shared();
        mutex.unlock_shared();
    }
    EXPECT_EQ(faults::allocations() - before, 0U);
}

}  // namespace
