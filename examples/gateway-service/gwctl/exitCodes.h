#pragma once

namespace gateway {

// What gwctl returns. `run --wait` and `exec` return the exit code of what they ran, so their own
// codes keep to the numbers that <sysexits.h> and timeout(1) made customary.
constexpr int kDone = 0;
constexpr int kUsage = 64;          ///< wrong usage
constexpr int kNoConnection = 69;   ///< no service there, or the connection broke
constexpr int kRefused = 75;        ///< the service cannot do it now
constexpr int kNotUnderstood = 76;  ///< one side does not understand the other
constexpr int kTimedOut = 124;      ///< the script outlived its time-out
constexpr int kKilled = 125;        ///< a signal killed the script

}  // namespace gateway
