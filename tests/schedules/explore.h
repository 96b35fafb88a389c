// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

/// Runs a small case with threads under every schedule that has few preemptions: stateless model
/// checking with a preemption bound ("context bounding").
///
///     const auto result = schedules::explore([] {
///         Queue queue;
///         std::thread taker([&] { queue.take(); });
///         queue.put(1);
///         taker.join();
///     });
///     EXPECT_EQ(result.failure, "");
///
/// One thread of the case runs at a time. Before each of these the explorer decides who goes on:
/// mutexes, conditions, futexes, the start and the join of a thread, yields and sleeps, and every
/// atomic operation of what is compiled into this program (the compiler calls a thread sanitizer's
/// functions there, and those are defined here). It goes through the decisions depth first. A
/// switch away from a thread that could go on is a preemption; first all schedules without one are
/// taken, then those with one, and so on, so that what is found has as few as possible.
///
/// The clocks stand still until nobody can run: then they move to the end of the first sleep or
/// wait with a time limit. That they do so earlier counts as a preemption, and is tried up to a
/// minute ahead: whoever waits for longer is to be woken.
///
/// A case fails when nobody can ever run again (a deadlock or a lost wake-up: who waits for what is
/// told), when it does not end, when require() says so, when memory is used that was released or is
/// forbidden, and when a mutex, a condition or a thread is used against its rules. The failure ends
/// with the schedule; VORN_TESTS_SCHEDULE set to that text runs it alone.
///
/// Not explored: more preemptions than that; orders of plain accesses and of weakly ordered
/// atomics, which all are sequentially consistent here (the thread sanitizer sees those); wake-ups
/// without a reason; what is linked from the library's archive (a Child, an identifier); and of a
/// thread that turns on an atomic with nobody else running the third round and those after it.
namespace schedules {

struct Options {
    int preemptions = 2;
    int walks = 0;  ///< when above 0: so many random schedules instead, with any preemptions
};

struct Result {
    long schedules = 0;   ///< with the full number of preemptions (those with fewer are among them)
    std::string failure;  ///< empty: none
};

/// `body` runs as the first thread of the case, again and again: it must depend on nothing else.
/// Threads of a case that failed stay where they are.
[[nodiscard]] Result explore(const std::function<void()>& body, Options options = {});

/// For the threads of a case: the schedule is a failure unless `holds`.
void require(bool holds, const char* what);

/// No thread of the case may touch these bytes from here on, as far as its accesses can be seen.
void forbid(const void* memory, std::size_t size);

/// What stands in for calls that wait in the system uses these. They concern the threads of a case:
/// whether the caller is one, a decision who goes on, a wait for wake() or (false) for its time,
/// and the end of all waits for an object.
/// @{
[[nodiscard]] bool isExplored();
void decide(const char* action, const void* object);
bool waitFor(const char* action, const void* object, std::chrono::nanoseconds limit);
void wake(const void* object);
/// @}

}  // namespace schedules
