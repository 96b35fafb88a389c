// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace helpers {

/// Makes `path` the temporary directory of the process for a scope.
class TemporaryPlace {
  public:
    explicit TemporaryPlace(const std::string& path) {
        if (const char* before = std::getenv("TMPDIR")) {
            before_ = before;
        }
        ::setenv("TMPDIR", path.c_str(), 1);
    }
    ~TemporaryPlace() {
        if (before_) {
            ::setenv("TMPDIR", before_->c_str(), 1);
        } else {
            ::unsetenv("TMPDIR");
        }
    }
    TemporaryPlace(const TemporaryPlace&) = delete;
    TemporaryPlace& operator=(const TemporaryPlace&) = delete;

  private:
    std::optional<std::string> before_;
};

}  // namespace helpers
