// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

/// Appends a line to the file that the environment variable VORN_TEST_EVENTS names, if any.
inline void noteEvent(const std::string& event) {
    const char* const path = std::getenv("VORN_TEST_EVENTS");
    if (path == nullptr) {
        return;
    }
    if (std::FILE* file = std::fopen(path, "ae")) {
        std::fputs((event + "\n").c_str(), file);
        std::fclose(file);
    }
}

/// Returns when the file that an environment variable names exists, at once when it names none.
inline void waitForGate(const char* variable) {
    const char* const gate = std::getenv(variable);
    while (gate != nullptr && ::access(gate, F_OK) != 0) {
        ::usleep(1000);
    }
}
