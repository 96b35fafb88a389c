// SPDX-License-Identifier: MIT

// Runs a shell text with background jobs in a process group of its own: the script ends when they
// have ended, and a time-out would stop them too. Its last line keeps the exit status of the
// command before it, which would otherwise be lost.
#include <chrono>
#include <future>
#include <iostream>

#include <vorn/common/executable/Script.h>

using vorn::common::executable::IExecutable;
using vorn::common::executable::Script;

int main() {
    Script script(
        "(sleep 0.1; echo background) & echo foreground; sh -c 'exit 3'\n"
        "status=$?; wait; exit $status",
        {.environment = {"PATH=/bin:/usr/bin"},
         .timeout = std::chrono::minutes(1),
         .ownProcessGroup = true});
    std::promise<IExecutable::Status> ended;
    script.execAsync([&](const IExecutable& run) { ended.set_value(run.getStatus()); });
    const auto status = ended.get_future().get();
    std::cout << *script.readFromStdOut() << "status " << status << ", exit status "
              << *script.getExitCode() << "\n";
}
