// SPDX-License-Identifier: MIT
// Guarantees: a text that is no Base64 is refused with an exception.
#include <vorn/common/encoding/Base64.h>

#include "tasks.h"

std::string compared::vorn::encodeBinary(const std::string& bytes) {
    using ::vorn::common::encoding::Base64;
    const std::string text = Base64::encodeToString(bytes);
    return text + Base64::decodeToString(text);
}
