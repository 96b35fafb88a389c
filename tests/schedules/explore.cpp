// SPDX-License-Identifier: MIT
#include "schedules/explore.h"

#include "schedules/scheduler.h"

namespace schedules {

Result explore(const std::function<void()>& body, Options options) {
    return Scheduler::instance().explore(body, options);
}

void require(bool holds, const char* what) {
    if (!holds) {
        Scheduler::instance().fail(what);
    }
}

void forbid(const void* memory, std::size_t size) {
    Scheduler::instance().forbid(memory, size);
}

bool isExplored() {
    return Scheduler::self() != nullptr;
}

void decide(const char* action, const void* object) {
    Scheduler::instance().decide(action, object);
}

bool waitFor(const char* action, const void* object, std::chrono::nanoseconds limit) {
    auto& scheduler = Scheduler::instance();
    return scheduler.wait(action, object, scheduler.now() + limit.count());
}

void wake(const void* object) {
    Scheduler::instance().wake(object);
}

}  // namespace schedules
