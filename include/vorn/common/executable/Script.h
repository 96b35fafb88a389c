// SPDX-License-Identifier: MIT
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
/// Starting, waiting, reading and their errors are those of Executable. A command that cannot be
/// executed is told by the shell, with its own statuses: 127 when it is not found, 126 when it is
/// no program. Status 1 is the shell's or a command's, or a shell that cannot be executed itself.
///
/// Deliberate: with `params.ownProcessGroup` the exit status of the last command is lost, 1 and 127
/// included: the appended "wait" gives 0. To keep it end the text with `exit $?`, or, where
/// background jobs are to be waited for, with `status=$?; wait; exit $status`.
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
