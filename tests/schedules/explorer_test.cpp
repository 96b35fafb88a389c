// SPDX-License-Identifier: MIT

// What the explorer finds when it is there, and that it does not find what is not.

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedules/expect.h"

namespace {

using schedules::explore;
using testing::HasSubstr;

enum class Fault {
    None,
    NotifiesBeforeTheChange,
    DoesNotNotify,
    ChangesWithoutTheMutex,
    OneForTwo
};

/// Takers wait until there is something.
template <Fault fault>
class Box {
  public:
    void put(int count) {
        if constexpr (fault == Fault::NotifiesBeforeTheChange) {
            changed_.notify_all();
        }
        if constexpr (fault == Fault::ChangesWithoutTheMutex) {
            things_ += count;
        } else {
            const std::lock_guard lock(mutex_);
            things_ += count;
        }
        if constexpr (fault == Fault::None || fault == Fault::ChangesWithoutTheMutex) {
            changed_.notify_all();
        }
        if constexpr (fault == Fault::OneForTwo) {
            changed_.notify_one();
        }
    }

    void take() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return things_ > 0; });
        --things_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::atomic<int> things_ = 0;
};

template <Fault fault>
void fillForTwo() {
    Box<fault> box;
    std::thread first([&] { box.take(); });
    std::thread second([&] { box.take(); });
    box.put(2);
    first.join();
    second.join();
}

TEST(Explorer, FindsNothingWhereNothingIsLost) {
    schedules::expectNoFailure(&fillForTwo<Fault::None>);
}

TEST(Explorer, FindsLostWakeUps) {
    for (const auto body :
         {&fillForTwo<Fault::NotifiesBeforeTheChange>, &fillForTwo<Fault::DoesNotNotify>,
          &fillForTwo<Fault::ChangesWithoutTheMutex>, &fillForTwo<Fault::OneForTwo>}) {
        EXPECT_THAT(explore(body).failure, HasSubstr("nobody can run any more"));
    }
}

TEST(Explorer, FindsALostWakeUpAtRandomToo) {
    EXPECT_THAT(explore(&fillForTwo<Fault::ChangesWithoutTheMutex>, {.walks = 10'000}).failure,
                HasSubstr("nobody can run any more"));
}

TEST(Explorer, RepeatsTheScheduleOfAFailure) {
    const auto body = &fillForTwo<Fault::ChangesWithoutTheMutex>;
    for (const int walks : {0, 10'000}) {
        const auto failure = explore(body, {.walks = walks}).failure;
        const auto assignment = failure.find("SCHEDULE='");
        ASSERT_NE(assignment, std::string::npos) << failure;
        const auto begin = failure.find('\'', assignment) + 1;
        const auto end = failure.find('\'', begin);
        ::setenv("VORN_TESTS_SCHEDULE", failure.substr(begin, end - begin).c_str(), 1);
        const auto again = explore(body);
        ::unsetenv("VORN_TESTS_SCHEDULE");
        EXPECT_EQ(again.schedules, 1);
        EXPECT_THAT(again.failure, HasSubstr(failure.substr(assignment, end + 1 - assignment)));
        EXPECT_THAT(again.failure, HasSubstr("nobody can run any more"));
    }
}

TEST(Explorer, FindsTwoMutexesTakenInDifferentOrders) {
    const auto result = explore([] {
        std::mutex one;
        std::mutex other;
        std::thread thread([&] {
            const std::lock_guard first(other);
            const std::lock_guard second(one);
        });
        {
            const std::lock_guard first(one);
            const std::lock_guard second(other);
        }
        thread.join();
    });
    EXPECT_THAT(result.failure, HasSubstr("nobody can run any more"));
    EXPECT_THAT(result.failure, HasSubstr("thread 1: lock"));
    EXPECT_THAT(result.failure, HasSubstr("VORN_TESTS_SCHEDULE="));
}

TEST(Explorer, FindsAnUpdateLostBetweenTwoAtomicOperations) {
    const auto addTwice = [](auto add) {
        return [add] {
            std::atomic<int> sum = 0;
            std::thread thread([&] { add(sum); });
            add(sum);
            thread.join();
            schedules::require(sum == 2, "an addition is lost");
        };
    };
    EXPECT_EQ(explore(addTwice([](auto& sum) { ++sum; })).failure, "");
    const auto lost = explore(addTwice([](auto& sum) { sum = sum + 1; })).failure;
    EXPECT_THAT(lost, HasSubstr("an addition is lost"));
}

TEST(Explorer, TakesEveryOrderOfIndependentSteps) {
    // Two threads with two steps each: six orders of the four steps.
    static std::set<std::string> orders;
    orders.clear();
    const auto result = explore(
        [] {
            std::string order;
            std::mutex mutex;
            const auto act = [&](char name) {
                for (int step = 0; step < 2; ++step) {
                    const std::lock_guard lock(mutex);
                    order += name;
                }
            };
            std::thread thread(act, 'a');
            act('b');
            thread.join();
            orders.insert(order);
        },
        {.preemptions = 3});
    EXPECT_EQ(result.failure, "");
    EXPECT_EQ(orders.size(), 6u);
}

TEST(Explorer, LetsTimeEndAWaitBeforeItsNotification) {
    static std::set<std::cv_status> ends;
    ends.clear();
    const auto result = explore([] {
        std::mutex mutex;
        std::condition_variable changed;
        std::unique_lock lock(mutex);
        std::thread thread([&] {
            { const std::lock_guard changing(mutex); }
            changed.notify_one();
        });
        ends.insert(changed.wait_for(lock, std::chrono::seconds(1)));
        lock.unlock();
        thread.join();
    });
    EXPECT_EQ(result.failure, "");
    EXPECT_EQ(ends.size(), 2u);
}

TEST(Explorer, KnowsFutures) {
    schedules::expectNoFailure([] {
        auto answer = std::async(std::launch::async, [] { return 42; });
        while (answer.wait_for(std::chrono::seconds(1)) != std::future_status::ready) {
        }
        schedules::require(answer.get() == 42, "the answer");
    });
}

TEST(Explorer, FindsTheUseOfWhatIsDestroyed) {
    const auto result = explore([] {
        alignas(std::mutex) static std::byte place[sizeof(std::mutex)];
        auto* const mutex = new (place) std::mutex;
        std::thread thread([mutex] { const std::lock_guard lock(*mutex); });
        { const std::lock_guard lock(*mutex); }
        schedules::forbid(mutex, sizeof(std::mutex));
        thread.join();
    });
    EXPECT_THAT(result.failure, HasSubstr("what was destroyed is used"));
}

TEST(Explorer, FindsTheUseOfWhatIsReleased) {
    const auto result = explore([] {
        auto number = std::make_unique<int>(1);
        std::thread thread([late = number.get()] {
            std::this_thread::yield();
            *late = 2;
        });
        number.reset();
        thread.join();
    });
    EXPECT_THAT(result.failure, HasSubstr("what was destroyed is used"));
}

TEST(Explorer, FindsAThreadJoinedTwice) {
    const auto result = explore([] {
        std::thread thread([] {});
        std::thread other([number = thread.native_handle()] { pthread_join(number, nullptr); });
        thread.join();
        other.join();
    });
    EXPECT_THAT(result.failure, HasSubstr("a thread is joined twice"));
}

TEST(Explorer, FindsAConditionDestroyedUnderItsWaiter) {
    const auto result = explore([] {
        std::mutex mutex;
        std::optional<std::condition_variable> condition(std::in_place);
        std::thread thread([&, changed = &*condition] {
            std::unique_lock lock(mutex);
            changed->wait_for(lock, std::chrono::seconds(1));
        });
        condition.reset();
        thread.join();
    });
    EXPECT_THAT(result.failure, HasSubstr("a condition is destroyed that somebody waits for"));
}

TEST(Explorer, FindsWhatTurnsForEver) {
    const auto result = explore([] {
        std::atomic<bool> done = false;
        while (!done) {
            std::this_thread::yield();
        }
    });
    EXPECT_THAT(result.failure, HasSubstr("it does not end"));
}

}  // namespace
