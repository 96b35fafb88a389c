// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <vorn/common/export.h>

namespace vorn::common {

/// Becoming another program.
namespace exechelper {

/// Replaces the image of the calling process.
///
///     exechelper::exec({"/bin/sh", "-c", "echo $GREETING"}, {"GREETING=hello"});
///     ::_exit(1);  // only reached when the program could not be executed
///
/// `arguments[0]` is the path of the program, used as given: PATH is not searched. The program sees
/// the part after its last '/' as `argv[0]`, and exactly `environment` (entries "NAME=value");
/// nothing is inherited. A text ends at its first NUL.
///
/// Returns only on failure: -1, with errno as execve left it. Throws std::runtime_error "arguments
/// cannot be empty".
///
/// Threads: execve ends all other threads of the process. The call allocates memory, so after fork
/// in a process with several threads use executable::Executable, which prepares everything before.
VORN_GW_COMMON_EXPORT int exec(const std::vector<std::string>& arguments,
                               const std::vector<std::string>& environment);

}  // namespace exechelper

/// The same operation for callers that want it as a static member, e.g. as a template argument.
struct VORN_GW_COMMON_EXPORT ExecHelper {
    /// exechelper::exec with these arguments.
    static int exec(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment);
};

}  // namespace vorn::common
