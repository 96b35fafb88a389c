// Runs a shell text with background jobs in a process group of its own: the script ends when they
// have ended, and a time-out would stop them too.
#include <chrono>
#include <future>
#include <iostream>

#include <vorn/common/executable/Script.h>

using vorn::common::executable::IExecutable;
using vorn::common::executable::Script;

int main() {
    Script script("(sleep 0.1; echo background) & echo foreground",
                  {.environment = {"PATH=/bin:/usr/bin"},
                   .timeout = std::chrono::minutes(1),
                   .ownProcessGroup = true});
    std::promise<IExecutable::Status> ended;
    script.execAsync([&](const IExecutable& run) { ended.set_value(run.getStatus()); });
    const auto status = ended.get_future().get();
    std::cout << *script.readFromStdOut() << "status " << status << "\n";
}
