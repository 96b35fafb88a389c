// SPDX-License-Identifier: MIT
#include "vorn/common/time/SecondsDuration.h"

#include <ostream>
#include <string>

namespace vorn::common::time {

std::ostream& operator<<(std::ostream& stream, const SecondsDuration& duration) {
    const std::string text =
        duration.isInfinite() ? "INFINITE" : std::to_string(duration.count()) + 's';
    // Unformatted: the caller's width, fill and locale neither apply nor are used up.
    return stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace vorn::common::time
