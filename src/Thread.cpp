#include "vorn/common/Thread.h"

#include <future>
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
    started_ = true;
    run_ = std::make_unique<Run>();
    std::packaged_task<void(void*)> task([function = std::move(function)](void* argument) mutable {
        const auto released = std::exchange(function, nullptr);
        released(argument);
    });
    run_->done = task.get_future();
    run_->thread = std::thread(std::move(task), arg);
}

void Thread::start(IRunnable& runnable, void* arg) {
    start([&runnable](void* argument) { runnable.run(argument); }, arg);
}

unsigned int Thread::wait(long long timeoutMs) {
    if (!run_) {
        return 0;
    }
    if (timeoutMs != kNoTimeout &&
        !internal::waitReady(run_->done, std::chrono::milliseconds(timeoutMs))) {
        return 1;
    }
    run_->thread.join();
    started_ = false;
    return 2;
}

}  // namespace vorn::common
