// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <vorn/common/export.h>

namespace vorn::common::fs {

/// A handle on a file that is named by its path.
///
/// Threads: as the implementation says; TemporaryFile is for one thread at a time.
class VORN_GW_COMMON_EXPORT IFile {
  public:
    virtual ~IFile() = default;

    /// Makes the handle stand for `path`. What happens to the former file, and what is thrown when
    /// `mustExist` is set and there is no such file, is the implementation's.
    virtual void setPath(std::string path, bool mustExist) = 0;

    /// The path; empty when the handle stands for nothing.
    [[nodiscard]] virtual std::string getPath() const = 0;
};

}  // namespace vorn::common::fs
