// SPDX-License-Identifier: MIT
#include "helpers/faults/calls.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>

#include "helpers/faults/interposition.h"

namespace faults {
namespace {

constexpr int kEvery = -1;

constinit thread_local Calls* innermostOfThread = nullptr;
constinit thread_local bool asking = false;
constinit std::atomic<Calls*> innermostOfAll{nullptr};
// Threads that look at the chain of all threads; none of them exists in a forked child.
constinit std::atomic<int> looking{0};

[[gnu::constructor]] void forgetOtherThreadsInChildren() {
    ::pthread_atfork(nullptr, nullptr, [] { looking = 0; });
}

}  // namespace

const char* nameOf(Call call) {
#define VORN_FAULTS_NAME(name) #name,
    static constexpr const char* kNames[] = {VORN_FAULTS_CALLS(VORN_FAULTS_NAME)};
#undef VORN_FAULTS_NAME
    return kNames[static_cast<std::size_t>(call)];
}

void leaveThisThreadAlone() {
    asking = true;
}

Calls::Calls(Threads threads) : threads_(threads) {
    if (threads == Threads::This) {
        outer_ = std::exchange(innermostOfThread, this);
    } else {
        outer_ = innermostOfAll.exchange(this);
    }
}

Calls::~Calls() {
    if (threads_ == Threads::This) {
        innermostOfThread = outer_;
        return;
    }
    innermostOfAll = outer_;
    while (looking != 0) {
        interposition::yield();
    }
}

Calls& Calls::fail(Call call, int error, int first, int last) {
    const int before = count(call);
    rules_.push_back({call, error, before + first, last == kLast ? kLast : before + last});
    return *this;
}

Calls& Calls::hook(Call call, Hook hook) {
    hooks_.emplace_back(static_cast<int>(call), std::move(hook));
    return *this;
}

Calls& Calls::hook(Hook hook) {
    hooks_.emplace_back(kEvery, std::move(hook));
    return *this;
}

int Calls::count(Call call) const {
    return counts_[static_cast<std::size_t>(call)];
}

std::vector<Call> Calls::order(std::initializer_list<Call> kinds) const {
    std::vector<Call> found;
    const auto recorded = std::min(recorded_.load(), order_.size());
    for (std::size_t i = 0; i < recorded; ++i) {
        const auto call = static_cast<Call>(order_[i].load());
        if (std::find(kinds.begin(), kinds.end(), call) != kinds.end()) {
            found.push_back(call);
        }
    }
    return found;
}

int Calls::ask(Invocation& invocation) {
    const auto number = static_cast<std::size_t>(invocation.call);
    invocation.ordinal = ++counts_[number];
    const auto place = recorded_++;
    if (place < order_.size()) {
        order_[place] = static_cast<unsigned char>(number);
    }
    for (const auto& [call, hook] : hooks_) {
        if (call == kEvery || call == static_cast<int>(number)) {
            if (const int error = hook(invocation); error != 0) {
                return error;
            }
        }
    }
    for (const auto& rule : rules_) {
        if (rule.call == invocation.call && invocation.ordinal >= rule.first &&
            invocation.ordinal <= rule.last && rule.error != 0) {
            return rule.error;
        }
    }
    return outer_ == nullptr ? 0 : outer_->ask(invocation);
}

namespace interposition {

int errorOf(Invocation& invocation) {
    // Not while the thread sanitizer makes a thread, which it does with that call.
    if (invocation.call != Call::pthread_self) {
        jitter();
    }
    if (asking || (innermostOfThread == nullptr && innermostOfAll.load() == nullptr)) {
        return 0;
    }
    asking = true;
    int error = innermostOfThread == nullptr ? 0 : innermostOfThread->ask(invocation);
    // The thread sanitizer asks for a new thread's number before that thread can run a hook.
    if (error == 0 && invocation.call != Call::pthread_self) {
        ++looking;
        if (auto* const calls = innermostOfAll.load()) {
            error = calls->ask(invocation);
        }
        --looking;
    }
    asking = false;
    return error;
}

}  // namespace interposition
}  // namespace faults
