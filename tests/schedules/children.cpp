// SPDX-License-Identifier: MIT
#include "schedules/children.h"

#include <signal.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>

#include "helpers/faults/Next.h"
#include "posix/startChild.h"
#include "schedules/explore.h"

namespace schedules::children {
namespace {

using faults::interposition::Next;

enum class State { Unknown, Running, Exited, Killed, Reaped };

constexpr pid_t kFirstId = 1000;
constexpr std::chrono::seconds kLife{1};
std::array<State, 8> states;
Counts all;

/// Null for an id that was never given.
State* stateOf(long id) {
    const auto place = static_cast<std::size_t>(id - kFirstId);
    return place < states.size() && states[place] != State::Unknown ? &states[place] : nullptr;
}

int waitForChild(long id, siginfo_t& info, int options) {
    State* const state = stateOf(id);
    decide("wait for a child", state);
    if (state == nullptr || *state == State::Reaped) {
        errno = ECHILD;
        return -1;
    }
    if (*state == State::Running && (options & WNOHANG) == 0 &&
        !waitFor("wait for a child", state, kLife)) {
        *state = State::Exited;
        ++all.exited;
    }
    if (*state == State::Running) {
        return 0;
    }
    info.si_pid = static_cast<pid_t>(id);
    info.si_code = *state == State::Killed ? CLD_KILLED : CLD_EXITED;
    info.si_status = *state == State::Killed ? SIGKILL : 0;
    if ((options & WNOWAIT) == 0) {
        *state = State::Reaped;
        ++all.reaped;
    }
    return 0;
}

int killChild(long id) {
    State* const state = stateOf(id);
    decide("kill", state);
    require(state != nullptr, "what is no child is killed");
    require(*state != State::Reaped, "a child is killed that was reaped");
    if (*state == State::Running) {
        *state = State::Killed;
        ++all.killed;
        wake(state);
    }
    return 0;
}

constinit Next<int(idtype_t, id_t, siginfo_t*, int)> waitidNext{"waitid"};
constinit Next<int(pid_t, int)> killNext{"kill"};

}  // namespace

void forget() {
    states.fill(State::Unknown);
    all = {};
}

Counts counts() {
    return all;
}

}  // namespace schedules::children

extern "C" {

[[gnu::visibility("default")]] int waitid(idtype_t type, id_t id, siginfo_t* info, int options) {
    return schedules::isExplored()
               ? schedules::children::waitForChild(static_cast<long>(id), *info, options)
               : schedules::children::waitidNext(type, id, info, options);
}

[[gnu::visibility("default")]] int kill(pid_t id, int signal) noexcept {
    return schedules::isExplored() ? schedules::children::killChild(id)
                                   : schedules::children::killNext(id, signal);
}

}  // extern "C"

namespace vorn::common::internal {

using namespace schedules::children;

// In the place of the library's own, all of them: its file would bring the other ones with it.

const char* rootOf(const std::optional<std::string>& /*directory*/) noexcept {
    return nullptr;
}

std::vector<std::string> commandIn(const std::optional<std::vector<std::string>>& /*groups*/,
                                   std::vector<std::string> command) {
    return command;
}

Child startChild(const ChildPlan& /*plan*/, const ExecImage& /*image*/) noexcept {
    schedules::decide("start a child", nullptr);
    const auto place = static_cast<std::size_t>(all.started++);
    states.at(place) = State::Running;
    return Child(kFirstId + static_cast<pid_t>(place));
}

pid_t forkChild(const ChildPlan& /*plan*/) noexcept {
    return -1;
}

}  // namespace vorn::common::internal
