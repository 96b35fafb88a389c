// SPDX-License-Identifier: MIT

// Loads every plug-in of a configuration file; the bad ones are reported and left out.

#include <iostream>

#include <vorn/common/DynamicLibrary.h>

#include "greeter.h"

int main() {
    for (const auto& [path, library] : vorn::common::loadDynamicLibraries(CONFIGURATION_PATH)) {
        if (const auto* const greeter = dynamic_cast<Greeter*>(library->object())) {
            std::cout << greeter->greet() << '\n';
        }
    }
}
