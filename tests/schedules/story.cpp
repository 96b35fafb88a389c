// SPDX-License-Identifier: MIT

// What a failure tells: the schedule as a text that can be followed again, and as a story.

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>

#include "schedules/scheduler.h"

namespace schedules {

/// The decisions that were not the usual one: "7:1 12:2" takes the second option at the eighth
/// decision and the third at the thirteenth.
std::string Scheduler::schedule() const {
    std::ostringstream text;
    for (std::size_t i = 0; i < std::min(position_, trail_.size()); ++i) {
        if (trail_[i].taken != 0) {
            text << (text.tellp() > 0 ? " " : "") << i << ':' << trail_[i].taken;
        }
    }
    return text.str();
}

void Scheduler::follow(const char* schedule) {
    trail_.clear();
    std::istringstream text(schedule);
    std::size_t place = 0;
    char colon = 0;
    std::size_t taken = 0;
    while (text >> place >> colon >> taken) {
        trail_.resize(place, {0, 1});
        trail_.push_back({taken, 1});
    }
}

/// Who went on where, and what everybody is at.
std::string Scheduler::story() const {
    std::ostringstream text;
    const auto tell = [&](int thread, const char* action, const void* object) {
        text << "\n  thread " << thread << ": " << action;
        if (object != nullptr) {
            text << ' ' << object;
        }
    };
    int last = -1;
    std::size_t begin = steps_.size();
    for (int switches = 0; begin > 0 && switches < 20; --begin) {
        switches += begin < steps_.size() && steps_[begin].thread != steps_[begin - 1].thread;
    }
    for (std::size_t i = begin; i < steps_.size(); ++i) {
        if (steps_[i].thread != last) {
            tell(steps_[i].thread, steps_[i].action, steps_[i].object);
            text << " and on";
        }
        last = steps_[i].thread;
    }
    text << "\nat the end";
    for (std::size_t i = 0; i < threads_; ++i) {
        const auto& worker = *workers_[i];
        tell(worker.index, worker.action, worker.object);
        text << (worker.state == Worker::State::Waiting ? " (waits)" : "");
    }
    return text.str();
}

}  // namespace schedules
