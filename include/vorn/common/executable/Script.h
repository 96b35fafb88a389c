#pragma once

#include <string>

#include <vorn/common/executable/Executable.h>
#include <vorn/common/export.h>

namespace vorn::common::executable {

/// An Executable that runs a shell text: `/bin/sh -c <text>`.
///
///     Script script("df -k | tail -n +2 | wc -l", {.environment = {"PATH=/bin:/usr/bin"}});
///     script.execSync();
///
/// Starting, waiting, reading and their errors are those of Executable.
class VORN_GW_COMMON_EXPORT Script : public Executable {
  public:
    /// With `params.ownProcessGroup` the text run is a line feed, `script`, a line feed and "wait":
    /// the shell then waits for the background jobs that the script started, so that the group
    /// lives as long as they do. Otherwise it is `script` unchanged. With control groups the shell
    /// is started through them by its path, /bin/sh.
    Script(const std::string& script, const Params& params);
    ~Script() override;
};

}  // namespace vorn::common::executable
