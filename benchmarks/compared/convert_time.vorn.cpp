// SPDX-License-Identifier: MIT
// Guarantees: 1970 to 2106, also where time_t has 32 bits; for a text that is refused the result is
// false, and nothing is changed. A day past the end of its month runs on into the next one.
#include <stdexcept>

#include <vorn/common/time/UnixTime.h>

#include "tasks.h"

std::string compared::vorn::convertTime(const std::string& iso8601) {
    ::vorn::common::time::UnixTime time;
    if (!time.parseIso8601(iso8601)) {
        throw std::invalid_argument(iso8601);
    }
    return std::to_string(time.toIntegralType()) + ' ' + time.toIso8601();
}
