// SPDX-License-Identifier: MIT

// Loads one plug-in and uses it through an interface of the program's own.

#include <iostream>

#include <vorn/common/DynamicLibrary.h>

#include "greeter.h"

int main() {
    using namespace vorn::common;
    const auto library = loadDynamicLibrary(PLUGIN_PATH, {{"arg0", "gateway"}});
    if (const auto* const greeter = dynamic_cast<Greeter*>(library->object())) {
        std::cout << greeter->greet() << '\n';
    }

    try {
        static_cast<void>(loadDynamicLibrary(PLUGIN_PATH, {}));
    } catch (const std::invalid_argument& error) {
        std::cout << "refused: " << error.what() << '\n';
    }
}
