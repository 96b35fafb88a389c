#pragma once

#include <vorn/common/ThreadPool.h>
#include <vorn/common/executable/ExecutableManager.h>
#include <functional>
#include <optional>
#include <string>

#include "Request.h"

namespace gateway {

/// How a program ended, with what it wrote.
struct ProgramEnd {
    vorn::common::Uuid uuid;
    bool timedOut = false;
    std::optional<int> exitCode;  ///< empty when a signal killed it or it timed out
    std::string output;           ///< at most `Programs::kMostOutput` bytes
    std::string errors;           ///< likewise
    bool cut = false;             ///< one of them was longer
};

/// Runs programs in the background and tells how each ended, once.
///
/// A program writes into pipes that are read after its end: one that writes more than a pipe holds
/// (64 KiB) to either stream waits for a reader in vain and runs into its time-out. Each program
/// leads a process group of its own, which a time-out ends as a whole. A process that leaves the
/// group and keeps the streams open delays the result until it ends.
///
/// Threads: `onEnd` is called on a thread of this object's own.
class Programs {
  public:
    static constexpr std::size_t kMostOutput = 32768;

    /// At most `most` programs may run at once; whoever starts them counts.
    Programs(unsigned most, std::function<void(const ProgramEnd&)> onEnd);

    /// Throws `std::exception` when it cannot be started.
    void start(const ExecRequest& request);

  private:
    std::function<void(const ProgramEnd&)> onEnd_;
    // Reading waits for the pipes' last writer. In the manager's own callback it would hold up the
    // ends of all other programs.
    vorn::common::ThreadPool readers_;
    vorn::common::executable::ExecutableManager manager_;
};

}  // namespace gateway
