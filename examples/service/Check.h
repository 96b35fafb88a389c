#pragma once
#include <vorn/common/executable/Script.h>
#include <vorn/common/fs/TemporaryFile.h>

#include "start.h"

/// One run of a shell script, in a process group that is killed when its time is over.
class Check {
  public:
    /// `onEnd` is called on another thread.
    Check(const std::string& script, std::chrono::seconds timeout, void (*onEnd)())
        : run_(kSetUp + script, {.environment = {"PATH=/bin:/usr/bin", "OUT=" + output_.getPath()},
                                 .timeout = timeout,
                                 .ownProcessGroup = true}) {
        run_.execAsync([onEnd](const auto&) { onEnd(); });
    }

    [[nodiscard]] bool ended() const { return run_.getStatus() > Script::Running; }

    /// Never throws: what a script does to its output must not end the service.
    [[nodiscard]] std::string result() const try {
        const auto code = run_.getExitCode();
        return (code                                   ? "exited with " + std::to_string(*code)
                : run_.getStatus() == Script::TimedOut ? "took too long and was killed"
                                                       : "was ended by a signal") +
               ": " + readSmallFile(output_.getPath());
    } catch (const std::exception& error) {
        return std::string("lost its output: ") + error.what();
    }

  private:
    using Script = vorn::common::executable::Script;
    // A script reads requests from an inherited input, and waits once 64 KB fill the pipe of its
    // output. So there is none, and a file; it and all that the script writes end at 64 KiB.
    static constexpr const char* kSetUp = "exec </dev/null >\"$OUT\" 2>&1; ulimit -f 128\n";
    const vorn::common::fs::TemporaryFile output_;
    Script run_;
};
