// SPDX-License-Identifier: MIT
#include "vorn/common/IdentificationDb.h"

namespace vorn::common {

IdentificationDb::IdentificationDb(const Uuid& owner) : Db(owner) {}

IdentificationDb::~IdentificationDb() = default;

}  // namespace vorn::common
