// SPDX-License-Identifier: MIT
#pragma once

namespace faults {

/// Whose calls a fault concerns.
enum class Threads {
    This,  ///< those of the thread that made the fault, and of what it forks
    All,   ///< those of every thread of this process
};

}  // namespace faults
