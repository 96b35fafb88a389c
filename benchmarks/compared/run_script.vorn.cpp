// SPDX-License-Identifier: MIT
// Guarantees: the shell is killed when the time is over, with a group of its own all that it
// started; the child has none of the service's descriptors up to 4095, caught signals and
// environment; a start takes a time that does not depend on the size of the service. An output
// beyond a pipe's capacity must be read while it runs, and execSync does not return for a child
// that a signal ended.
#include <vorn/common/executable/Script.h>

#include "tasks.h"

std::string compared::vorn::runScript(const std::string& script) {
    ::vorn::common::executable::Script run(
        script, {.environment = {"PATH=/bin:/usr/bin"}, .timeout = std::chrono::seconds(30)});
    run.execSync();
    return *run.readFromStdOut() + std::to_string(run.getExitCode().value_or(-1));
}
