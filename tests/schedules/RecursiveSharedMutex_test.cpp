// SPDX-License-Identifier: MIT

// Who may be inside together, who waits and who is woken, at every order of the atomic steps.

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/RecursiveSharedMutex.h>

#include "schedules/expect.h"

namespace {

using schedules::require;
using vorn::common::RecursiveSharedMutex;

/// A mutex, and who is inside. The counts need no lock: one thread runs at a time, and goes on for
/// as long as nothing of it is a decision.
struct Shared {
    void read() {
        const std::shared_lock lock(mutex);
        look();
    }
    void write() {
        const std::unique_lock lock(mutex);
        change();
    }
    void look() {
        ++readers;
        require(writers == 0, "a reader beside a writer");
        std::this_thread::yield();  // as far as others get, at no cost
        require(writers == 0, "a writer came to a reader");
        --readers;
    }
    void change() {
        ++writers;
        require(writers == 1 && readers == 0, "a writer is not alone");
        std::this_thread::yield();
        require(writers == 1 && readers == 0, "a writer does not stay alone");
        --writers;
    }

    RecursiveSharedMutex mutex;
    int readers = 0;
    int writers = 0;
};

/// A case whose threads act on one mutex. The first two have the same home among its slots.
template <class Act, class... Acts>
void expectOrder(int preemptions, Act act, Acts... others) {
    schedules::expectNoFailure(
        [&] {
            Shared shared;
            {
                const std::array<std::jthread, sizeof...(others)> threads{
                    std::jthread([&] { others(shared); })...};
                act(shared);
            }
            require(shared.mutex.try_lock(), "somebody has not left");
            shared.mutex.unlock();
        },
        {.preemptions = preemptions});
}

void read(Shared& shared) {
    shared.read();
}

void write(Shared& shared) {
    shared.write();
}

/// Reads, and becomes the writer when the other readers have left.
void upgrade(Shared& shared) {
    const std::shared_lock reading(shared.mutex);
    shared.look();
    const std::unique_lock writing(shared.mutex);
    shared.change();
}

void readTwice(Shared& shared) {
    const std::shared_lock once(shared.mutex);
    const std::shared_lock again(shared.mutex);
    shared.look();
}

/// Writes, and stays as a reader.
void writeAndStay(Shared& shared) {
    shared.mutex.lock();
    shared.mutex.lock_shared();
    shared.mutex.lock();
    shared.mutex.unlock();
    shared.change();
    shared.mutex.unlock();
    shared.look();
    shared.mutex.unlock_shared();
}

TEST(RecursiveSharedMutexSchedules, AReaderAndAWriter) {
    expectOrder(3, read, write);
}

TEST(RecursiveSharedMutexSchedules, TwoWriters) {
    expectOrder(3, write, write);
}

TEST(RecursiveSharedMutexSchedules, TwoReadersAndAWriter) {
    expectOrder(1, read, read, write);
}

TEST(RecursiveSharedMutexSchedules, AReaderAndTwoWriters) {
    expectOrder(1, read, write, write);
}

TEST(RecursiveSharedMutexSchedules, AnUpgradeBesideAReader) {
    expectOrder(3, upgrade, read);
}

TEST(RecursiveSharedMutexSchedules, AnUpgradeBesideAReaderAndAWriter) {
    expectOrder(1, upgrade, read, write);
}

TEST(RecursiveSharedMutexSchedules, AReaderEntersAgainThoughAWriterWaits) {
    expectOrder(1, readTwice, write, read);
}

TEST(RecursiveSharedMutexSchedules, AWriterThatStaysAsAReader) {
    expectOrder(1, writeAndStay, write, read);
}

TEST(RecursiveSharedMutexSchedules, OneOfTwoThatTryAtOnceEnters) {
    struct Row {
        bool firstExclusive;
        bool secondExclusive;
        int entering;
    };
    for (const auto& row : {Row{true, true, 1}, Row{true, false, 1}, Row{false, false, 2}}) {
        schedules::expectNoFailure(
            [row] {
                RecursiveSharedMutex mutex;
                int entered = 0;
                const auto attempt = [&](bool exclusive) {
                    entered += (exclusive ? mutex.try_lock() : mutex.try_lock_shared()) ? 1 : 0;
                };
                std::thread second(attempt, row.secondExclusive);
                attempt(row.firstExclusive);
                second.join();
                require(entered == row.entering, "too many or too few have entered");
            },
            {.preemptions = 3});
    }
}

TEST(RecursiveSharedMutexSchedules, WhoeverCameInLastMayDestroyIt) {
    for (const auto act : {&read, &write}) {
        schedules::expectNoFailure([act] {
            alignas(Shared) std::byte place[sizeof(Shared)];
            auto* const shared = new (place) Shared;
            bool left = false;
            // Whether it has left is only seen by the one who may enter then.
            std::thread other([&] {
                act == &read ? shared->mutex.lock_shared() : shared->mutex.lock();
                left = true;
                act == &read ? shared->mutex.unlock_shared() : shared->mutex.unlock();
            });
            const auto hasLeft = [&] {
                const std::unique_lock lock(shared->mutex);
                return left;
            };
            while (!hasLeft()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            shared->~Shared();
            schedules::forbid(place, sizeof(place));
            other.join();
        });
    }
}

/// More readers than there are slots: the map, and the closed way from then on.
TEST(RecursiveSharedMutexSchedules, TenReadersAndAWriterAtRandom) {
    schedules::expectNoFailureAtRandom(
        [] {
            Shared shared;
            std::vector<std::unique_ptr<std::jthread>> threads;
            for (int i = 0; i < 10; ++i) {
                threads.push_back(std::make_unique<std::jthread>([&] { shared.read(); }));
            }
            shared.write();
        },
        1'000);
}

}  // namespace
