// SPDX-License-Identifier: MIT
#include "internal/assert.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace vorn::common::internal {

void assertionFailed(const char* file, int line, const char* function,
                     const char* condition) noexcept {
    // Without a prefix map __FILE__ may be absolute; the message names the file in the repository.
    const std::string_view path(file);
    const auto root = path.rfind("src/");
    const char* shown = root == std::string_view::npos ? file : file + root;
    std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", shown, line, function, condition);
    std::abort();
}

}  // namespace vorn::common::internal
