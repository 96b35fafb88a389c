// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace vorn::common::internal {

/// What execve needs for an argument list and an environment. References the strings of both lists.
class ExecImage {
  public:
    /// Throws std::runtime_error "arguments cannot be empty".
    ExecImage(const std::vector<std::string>& arguments,
              const std::vector<std::string>& environment);

    [[nodiscard]] const char* path() const noexcept { return path_; }
    /// argv[0] is the file name of the path.
    [[nodiscard]] char* const* argv() const noexcept { return argv_.data(); }
    [[nodiscard]] char* const* envp() const noexcept { return envp_.data(); }

    /// Replaces the image of this process; returns, with -1 and errno, only when that fails.
    int execute() const noexcept;

  private:
    const char* path_;
    std::vector<char*> argv_;
    std::vector<char*> envp_;
};

}  // namespace vorn::common::internal
