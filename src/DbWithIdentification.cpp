// SPDX-License-Identifier: MIT
#include "vorn/common/DbWithIdentification.h"

namespace vorn::common {

DbWithIdentification::DbWithIdentification(IdentificationDb& storage)
    // The same owner as the storage's: a copy, so that a later change there is not seen here.
    : Db(storage.uuid()), storage_(storage) {}

DbWithIdentification::~DbWithIdentification() = default;

conv::Identification DbWithIdentification::identification() const {
    conv::Identification record;
    storage_.load(record);
    return record;
}

void DbWithIdentification::setIdentification(const conv::Identification& record) {
    storage_.store(record);
}

}  // namespace vorn::common
