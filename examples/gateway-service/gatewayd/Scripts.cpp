// SPDX-License-Identifier: MIT
#include "Scripts.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>
#include <utility>

#include "descriptors.h"

namespace gateway {

using vorn::common::Script;
using vorn::common::ScriptContext;
using vorn::common::Uuid;

namespace {

constexpr int kCancelled = -1;
// One more than runs: a script's end is told before its executor has its place free.
constexpr unsigned kPlacesOfAnExecutor = 2;
constexpr int kLooks = 100;

// Through a descriptor of the process, so that no other one can be meant that got its id: while
// the context says "killable" after the descriptor was opened, the script had not been reaped.
bool killProcess(const ScriptContext& context) {
    const pid_t process = context.pid;
    if (!context.killable || process <= 0) {
        return false;
    }
    const FileDescriptor descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    if (!descriptor) {
        return ::kill(process, SIGKILL) == 0;
    }
    return context.killable &&
           ::syscall(SYS_pidfd_send_signal, descriptor.get(), SIGKILL, nullptr, 0) == 0;
}

}  // namespace

/// Makes a script known for as long as its routine runs.
class Scripts::Running {
  public:
    Running(Scripts& scripts, ScriptContext* context)
        : scripts_(scripts), uuid_(context->request.script.uuid.to_string()) {
        const std::lock_guard lock(scripts_.mutex_);
        scripts_.running_[uuid_] = context;
        cancelled_ = scripts_.cancelled_.count(uuid_) != 0;
    }
    ~Running() {
        const std::lock_guard lock(scripts_.mutex_);
        scripts_.running_.erase(uuid_);
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    [[nodiscard]] bool cancelled() const { return cancelled_; }

  private:
    Scripts& scripts_;
    std::string uuid_;
    bool cancelled_ = false;
};

Scripts::Place::Place(vorn::common::ScriptExecutor::Routine routine)
    : executor(kPlacesOfAnExecutor, std::move(routine)) {
    executor.start();
}

Scripts::Scripts(std::function<void(JobEnd)> onEnd, std::function<void(const Uuid&)> onFree)
    : onEnd_(std::move(onEnd)), onFree_(std::move(onFree)) {}

Scripts::~Scripts() {
    for (const auto& place : places_) {
        place->executor.terminate();
    }
}

Scripts::Place& Scripts::freePlace() {
    const auto found =
        std::find_if(places_.begin(), places_.end(), [](const auto& place) { return place->free; });
    if (found != places_.end()) {
        return **found;
    }
    places_.push_back(
        std::make_unique<Place>([this](ScriptContext* context) { return run(context); }));
    return *places_.back();
}

void Scripts::start(const RunRequest& request) {
    const std::lock_guard lock(mutex_);
    Place& place = freePlace();
    if (!place.executor.execute(request.script, static_cast<IScriptExecutorObserver*>(this),
                                request.timeout)) {
        throw std::runtime_error("the executor takes no script");
    }
    place.uuid = request.script.uuid;
    place.free = false;
}

// An exception would end the executor's processing.
int Scripts::run(ScriptContext* context) {
    context->killable = false;  // until there is a process
    try {
        const Running running(*this, context);
        return running.cancelled() ? kCancelled : vorn::common::kDefaultScriptRoutine(context);
    } catch (const std::exception&) {
        return kCancelled;
    }
}

bool Scripts::stop(const Uuid& uuid) {
    const std::string name = uuid.to_string();
    for (int look = 0; look < kLooks; ++look) {
        {
            const std::lock_guard lock(mutex_);
            if (std::none_of(places_.begin(), places_.end(), [&uuid](const auto& place) {
                    return !place->free && place->uuid == uuid;
                })) {
                return true;  // it has ended
            }
            cancelled_.insert(name);
            const auto running = running_.find(name);
            if (running == running_.end() || killProcess(*running->second)) {
                return true;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

// The executor repeats this until the killed process is gone.
void Scripts::onScriptTimeout(const Script& script) {
    {
        const std::lock_guard lock(mutex_);
        if (!timedOut_.insert(script.uuid.to_string()).second) {
            return;
        }
    }
    onEnd_({script.uuid, JobEnd::How::TimedOut});
}

void Scripts::onScriptFinished(const Script& script, int result) {
    const std::string name = script.uuid.to_string();
    bool timedOut = false;
    bool cancelled = false;
    {
        const std::lock_guard lock(mutex_);
        timedOut = timedOut_.erase(name) != 0;
        cancelled = cancelled_.erase(name) != 0;
        for (const auto& place : places_) {
            place->free = place->free || place->uuid == script.uuid;
        }
    }
    if (!timedOut && result >= 0) {
        onEnd_({script.uuid, JobEnd::How::Exited, result});
    } else if (!timedOut) {
        onEnd_({script.uuid, cancelled ? JobEnd::How::Cancelled : JobEnd::How::Killed});
    }
    onFree_(script.uuid);
}

}  // namespace gateway
