// SPDX-License-Identifier: MIT

// Logs the way of a command to a device in the services' own words.

#include <iostream>

#include <vorn/common/command/CommandResults.h>

using namespace vorn::common::command;

int main() {
    std::cout << toString(CommandSeverity::Critical)
              << " command: " << toString(CommandStatus::Accepted) << ", "
              << toString(CommandExecutionState::InProgress) << "\n";
    const auto fromANewerPeer = CommandStatus(17);
    std::cout << "then " << toString(fromANewerPeer) << "\n";
}
