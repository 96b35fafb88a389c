// SPDX-License-Identifier: MIT

// What must hold while several threads enter and leave at once.

#include <atomic>
#include <barrier>
#include <chrono>
#include <latch>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/RecursiveSharedMutex.h>

#include "helpers/Actor.h"
#include "helpers/environment.h"
#include "helpers/faults/allocation.h"

namespace {

using vorn::common::RecursiveSharedMutex;

constexpr int kRounds = helpers::kSlow ? 2'000 : 20'000;

/// Where two threads meet: both go on within nanoseconds when both run.
class Meeting {
  public:
    void meet() {
        const int round = arrived_.fetch_add(1) / 2;
        for (int look = 0; arrived_.load() < 2 * round + 2; ++look) {
            if (look % 1000 == 999) {
                std::this_thread::yield();
            }
        }
    }

  private:
    std::atomic<int> arrived_ = 0;
};

TEST(RecursiveSharedMutexRace, OneOfTwoThatTryAtOnceEnters) {
    struct Row {
        bool firstExclusive;
        bool secondExclusive;
        int mayEnter;
    };
    for (const auto& row : {Row{true, true, 1}, Row{true, false, 1}, Row{false, false, 2}}) {
        SCOPED_TRACE(testing::Message() << row.firstExclusive << row.secondExclusive);
        RecursiveSharedMutex mutex;
        Meeting meeting;
        std::atomic<int> entered = 0;
        int failures = 0;
        // Threads that do not run together meet as seldom as the scheduler lets them.
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        std::atomic<bool> enough = false;
        const auto act = [&](bool exclusive, bool judges) {
            for (int round = 0; round < kRounds / 2 && !enough; ++round) {
                meeting.meet();
                // Moves the two steps against each other.
                for (int i = judges ? round % 16 : round / 16 % 16; i > 0; --i) {
                    static_cast<void>(entered.load());
                }
                const bool enters = exclusive ? mutex.try_lock() : mutex.try_lock_shared();
                entered += enters ? 1 : 0;
                meeting.meet();
                if (judges) {
                    failures += entered.exchange(0) == row.mayEnter ? 0 : 1;
                    enough = std::chrono::steady_clock::now() >= until;
                }
                if (enters) {
                    exclusive ? mutex.unlock() : mutex.unlock_shared();
                }
                meeting.meet();
            }
        };
        std::thread second(act, row.secondExclusive, false);
        act(row.firstExclusive, true);
        second.join();
        EXPECT_EQ(failures, 0);
    }
}

TEST(RecursiveSharedMutexRace, ALockHandedOnWithoutAGapIsAlwaysSeen) {
    RecursiveSharedMutex mutex;
    std::atomic<bool> done = false;
    std::latch held(1);
    std::barrier handOver(2);
    // Two readers take turns; each takes the lock before the other gives it back.
    const auto hold = [&](bool begins) {
        if (begins) {
            mutex.lock_shared();
            held.count_down();
        }
        for (int round = 0; round < kRounds / 10; ++round) {
            const bool takes = (round % 2 == 0) != begins;
            if (takes) {
                mutex.lock_shared();
            }
            handOver.arrive_and_wait();
            if (!takes) {
                mutex.unlock_shared();
            }
        }
        handOver.arrive_and_wait();
        if (begins) {
            done = true;
        }
    };
    std::string wrong;
    std::thread stranger([&] {
        held.wait();
        while (!done) {
            try {
                mutex.unlock_shared();
                wrong = "unlocked";
            } catch (const std::logic_error& error) {
                if (!done && error.what() !=
                                 std::string("Cannot shared-unlock because of the wrong thread")) {
                    wrong = error.what();
                }
            }
            if (mutex.try_lock()) {
                wrong = "locked";
                mutex.unlock();
            }
        }
    });
    std::thread second(hold, false);
    hold(true);
    second.join();
    stranger.join();
    EXPECT_EQ(wrong, "");
    mutex.unlock_shared();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

/// All operations by many threads; shared data is guarded by the mutex alone, which the thread
/// sanitizer checks too.
void mix(int threads, int rounds) {
    RecursiveSharedMutex mutex;
    long first = 0;
    long second = 0;
    std::atomic<long> writes = 0;
    std::atomic<int> torn = 0;
    const auto write = [&] {
        ++first;
        ++second;
        ++writes;
    };
    const auto read = [&] { torn += first != second ? 1 : 0; };
    std::vector<std::thread> actors;
    for (int id = 0; id < threads; ++id) {
        actors.emplace_back([&, id] {
            for (int i = 0; i < rounds; ++i) {
                switch ((i * 7 + id) % 8) {
                    case 0: {
                        const std::unique_lock writing(mutex);
                        const std::shared_lock reading(mutex);
                        write();
                        break;
                    }
                    case 1: {
                        const std::unique_lock writing(mutex, std::try_to_lock);
                        if (writing) {
                            const std::unique_lock again(mutex);
                            write();
                        }
                        break;
                    }
                    case 2: {
                        const std::shared_lock reading(mutex);
                        const std::unique_lock upgrade(mutex, std::try_to_lock);
                        upgrade ? write() : read();
                        break;
                    }
                    case 3: {
                        std::unique_lock writing(mutex);
                        write();
                        const std::shared_lock reading(mutex);
                        writing.unlock();
                        read();
                        break;
                    }
                    case 4: {
                        const std::shared_lock reading(mutex, std::try_to_lock);
                        if (reading) {
                            read();
                        }
                        break;
                    }
                    default: {
                        const std::shared_lock reading(mutex);
                        const std::shared_lock again(mutex);
                        read();
                        if (i % 16 == 0) {
                            std::this_thread::yield();
                        }
                    }
                }
            }
        });
    }
    for (auto& actor : actors) {
        actor.join();
    }
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(first, writes);
    EXPECT_EQ(second, writes);
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(RecursiveSharedMutexRace, KeepsWhatItGuardsWholeForFewAndForManyThreads) {
    for (const int threads : {2, 3, 8, 20}) {
        SCOPED_TRACE(threads);
        mix(threads, kRounds / threads);
    }
}

TEST(RecursiveSharedMutexRace, MoreReadersThanSlotsLeaveAWriterAlone) {
    RecursiveSharedMutex mutex;
    std::vector<helpers::Actor> readers(12);
    for (int round = 0; round < 20; ++round) {
        for (auto& reader : readers) {
            reader.run([&] { mutex.lock_shared(); });
        }
        EXPECT_FALSE(mutex.try_lock());
        std::atomic<bool> entered = false;
        std::thread writer([&] {
            mutex.lock();
            entered = true;
            mutex.unlock();
        });
        for (auto& reader : readers) {
            EXPECT_FALSE(entered);
            reader.run([&] { mutex.unlock_shared(); });
        }
        writer.join();
    }
}

TEST(RecursiveSharedMutexRace, ARefusedReaderLeavesNothingBehind) {
    RecursiveSharedMutex mutex;
    std::vector<helpers::Actor> readers(8);
    helpers::Actor ninth;
    for (auto& reader : readers) {
        reader.run([&] { mutex.lock_shared(); });
    }
    for (const bool waits : {true, false}) {
        EXPECT_TRUE(ninth.run([&] {
            const faults::NoMemory shortage;
            try {
                waits ? mutex.lock_shared() : static_cast<void>(mutex.try_lock_shared());
                return false;
            } catch (const std::bad_alloc&) {
                return true;
            }
        }));
    }
    for (auto& reader : readers) {
        reader.run([&] { mutex.unlock_shared(); });
    }
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

}  // namespace
