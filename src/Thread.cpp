// SPDX-License-Identifier: MIT
#include "vorn/common/Thread.h"

#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include "internal/waitReady.h"

namespace vorn::common {

IRunnable::~IRunnable() = default;

struct Thread::Run {
    std::future<void> done;
    std::thread thread;
};

Thread::Thread() = default;

Thread::~Thread() {
    if (run_ && run_->thread.joinable()) {
        run_->thread.join();
        started_ = false;
    }
}

void Thread::start(std::function<void(void*)> function, void* arg) {
    if (started_) {
        return;
    }
    // Both the thread and this call own the task, and the future goes first when there is no
    // thread: a task that is dropped while somebody has its future needs memory to tell him so.
    const auto task = std::make_shared<std::packaged_task<void(void*)>>(
        [function = std::move(function)](void* argument) mutable {
            // Destroyed here and not with the task, which the waiting thread may outlive.
            const auto released = std::exchange(function, nullptr);
            released(argument);
        });
    auto run = std::make_unique<Run>();
    auto done = task->get_future();
    try {
        run->thread = std::thread([task](void* argument) { (*task)(argument); }, arg);
        run->done = std::move(done);
    } catch (const std::system_error&) {
        started_ = true;
        run_ = std::move(run);
        throw;
    }
    started_ = true;
    run_ = std::move(run);
}

void Thread::start(IRunnable& runnable, void* arg) {
    start([&runnable](void* argument) { runnable.run(argument); }, arg);
}

unsigned int Thread::wait(long long timeoutMs) {
    if (!run_) {
        return 0;
    }
    // Without a thread there is no future either; to join throws what the header says.
    if (timeoutMs != kNoTimeout && run_->done.valid() &&
        !internal::waitReady(run_->done, std::chrono::milliseconds(timeoutMs))) {
        return 1;
    }
    run_->thread.join();
    started_ = false;
    return 2;
}

}  // namespace vorn::common
