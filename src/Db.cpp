// SPDX-License-Identifier: MIT
#include "vorn/common/Db.h"

namespace vorn::common {

Db::Db(const Uuid& owner) : owner_(owner) {}

Db::~Db() = default;

Uuid Db::uuid() const {
    return owner_;
}

}  // namespace vorn::common
