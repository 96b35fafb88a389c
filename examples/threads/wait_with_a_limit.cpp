// SPDX-License-Identifier: MIT

// Runs a function on a thread and waits for it, at most so long at a time.
#include <future>
#include <iostream>

#include <vorn/common/Thread.h>

using vorn::common::Thread;

int main() {
    std::promise<void> mayEnd;
    int answer = 0;
    Thread thread;
    thread.start(
        [&](void* result) {
            mayEnd.get_future().wait();
            *static_cast<int*>(result) = 42;
        },
        &answer);
    std::cout << "after 10 ms: " << thread.wait(10) << "\n";
    mayEnd.set_value();
    std::cout << "in the end: " << thread.wait(Thread::kNoTimeout) << ", answer " << answer << "\n";
}
