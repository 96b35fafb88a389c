// SPDX-License-Identifier: MIT

// Queues scripts for a background executor and hears how they went.
#include <condition_variable>
#include <iostream>
#include <mutex>

#include <vorn/common/ScriptExecutor.h>

using namespace vorn::common;

namespace {

class Report : public IScriptExecutorObserver {
  public:
    void onScriptFinished(const Script& script, int result) override {
        std::cout << script.description << " finished with " << result << std::endl;
        const std::lock_guard lock(mutex_);
        ++finished_;
        changed_.notify_one();
    }
    void onScriptTimeout(const Script& script) override {
        std::cerr << script.description << " takes too long and is stopped\n";
    }
    void waitFor(int count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return finished_ >= count; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int finished_ = 0;
};

}  // namespace

int main() {
    Report report;
    ScriptExecutor executor(1, kDefaultScriptRoutine);
    executor.start();

    Script script;
    script.uuid = Uuid(0ULL);
    script.description = "greeting";
    script.content = "echo $GREETING; exit 4";
    script.environment = {"GREETING=hello"};
    executor.execute(script, &report, time::SecondsDuration(60));
    report.waitFor(1);

    // What outlives its time limit is killed, and has no exit status.
    script.description = "endless";
    script.content = "while :; do read x; done </dev/zero";
    while (!executor.execute(script, &report, time::SecondsDuration(0))) {
    }
    report.waitFor(2);
    executor.terminate();
}
