// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <fstream>
#include <limits>
#include <string>

#include "helpers/wait_until.h"

namespace helpers {

/// Whether a thread of this process sleeps in the kernel.
inline bool isSleeping(pid_t tid) {
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string text;
    std::getline(stat, text);
    const auto name = text.rfind(") ");
    return name != std::string::npos && text[name + 2] == 'S';
}

/// Waits until a thread that is about to block has done so: asleep in ten looks, a millisecond
/// apart.
[[nodiscard]] inline bool waitUntilAsleep(pid_t tid) {
    int looks = 0;
    return waitUntil([&] {
        looks = isSleeping(tid) ? looks + 1 : 0;
        return looks == 10;
    });
}

/// How often a thread of this process has gone to sleep so far; -1 when it cannot be read.
inline long sleepsOf(pid_t tid) {
    std::ifstream status("/proc/self/task/" + std::to_string(tid) + "/status");
    std::string key;
    long count = -1;
    while (status >> key) {
        if (key == "voluntary_ctxt_switches:") {
            status >> count;
            break;
        }
        status.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return count;
}

}  // namespace helpers
