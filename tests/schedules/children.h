// SPDX-License-Identifier: MIT
#pragma once

/// The children of a case: a model of what the kernel keeps of them, in the place of startChild,
/// waitid and kill. A child ends by itself after a second; to signal one that has been reaped, or
/// anything that never was one, is a failure.
namespace schedules::children {

/// For the beginning of a case.
void forget();

struct Counts {
    int started = 0;
    int killed = 0;
    int exited = 0;
    int reaped = 0;
};
[[nodiscard]] Counts counts();

}  // namespace schedules::children
