// SPDX-License-Identifier: MIT
#include "internal/cLocale.h"

#include "internal/assert.h"

namespace vorn::common::internal {

locale_t cLocale() noexcept {
    static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    VORN_ASSERT(locale != nullptr);
    return locale;
}

}  // namespace vorn::common::internal
